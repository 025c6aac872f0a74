// The parts of the driver that can be called: default records and raw files.
#pragma once

#include <cstdint>
#include <string>

#include "engine/zep3.h"

// Fills the records with what a caller starts from, see ResetZEP3. rgb: array of three.
void Reset(ZEP3_PARA* para, ZEP3_TONE* master, ZEP3_TONE* rgb);

// Size of a file in bytes; 0 when it cannot be opened.
int64_t GetFileSize(std::string path);

// The whole file in a buffer from malloc, for the caller to free; null, with a message on standard error, when it
// cannot be opened. The size is kept in 32 bits: what does not fit, files from 2 GiB on among it, ends the program.
char* LoadFileToMemory(std::string path);
