// Deflated data (RFC 1951) that goes on.
#pragma once

#include <string>

// Makes a whole stream the beginning of one: its last block is not marked as the last any more, and it ends on a byte,
// so that what follows may be appended. Throws std::runtime_error where the bytes are no stream.
void LeaveOpen(std::string& deflated);
