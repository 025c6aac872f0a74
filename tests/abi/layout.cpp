// The same list in C++: a caller in either language sees the same records.
#include "engine/zep3_layout.c"
