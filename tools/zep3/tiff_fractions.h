// Fractions in TIFF directories, as they are stored. libtiff hands them out as floating point and writes back the
// nearest fraction of that: 1/50 becomes 5368709/268435456.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// For each pair of directories, given by their places in `source` and in `target`: every fraction that both have, with
// as many values, gets the source's numbers. Throws Failure when the target cannot be written; what the source does not
// let read stays as it is.
void CopyFractions(const std::string& source, const std::string& target,
                   const std::vector<std::pair<uint64_t, uint64_t>>& directories);
