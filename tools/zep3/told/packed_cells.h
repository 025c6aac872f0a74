// The cells of a paper's surface as text: every bit of them, in a fraction of their size.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/zep3.h"

// `columns`: of the cells, which lie line by line.
std::string PackCells(const std::vector<ZEP3_CELL>& cells, size_t columns);

// The way back. Throws Failure for a text that is none of `count` cells, and for gains that are not above 0 or beyond
// what any paper needs.
std::vector<ZEP3_CELL> UnpackCells(const std::string& text, size_t columns, size_t count);
