// The parts of the driver that can be called: default records and raw files.
#pragma once

#include <cstdint>
#include <string>

#include "engine/zep3.h"

// Fills the records with what a caller starts from: a reflective original at level 4 for display gamma 2.2, no point
// set, automatic curve types, no user values. rgb: array of three. User and proposed tone curves share the records, so
// that what the analysis proposes is what the table builder applies.
void Reset(ZEP3_PARA* para, ZEP3_TONE* master, ZEP3_TONE* rgb);

// Size of a file in bytes; 0 when it cannot be opened.
int64_t GetFileSize(std::string path);

// The whole file in a buffer from malloc, for the caller to free; null, with a message on standard error, when it
// cannot be opened. The size is kept in 32 bits: what does not fit, files from 2 GiB on among it, ends the program.
char* LoadFileToMemory(std::string path);
