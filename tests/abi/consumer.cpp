// The same caller in C++, with the standard that older ones use.
#include <type_traits>

#include "consumer.c"

static_assert(std::is_trivially_copyable<ZEP3_PARA>::value && std::is_standard_layout<ZEP3_PARA>::value, "a record");
