// Words that were mistyped, and what was meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// The one of `words` that is nearest to `typed`: a letter or a few more, less, other or swapped with its neighbour, or
// the end left out. Empty: none is near.
std::string NearestWord(std::string_view typed, const std::vector<std::string>& words);

// "; did you mean WORD?", or nothing.
std::string DidYouMean(std::string_view typed, const std::vector<std::string>& words);

// "'TYPED': expected A, B or C; did you mean A?"
std::string ExpectedOneOf(std::string_view typed, const std::vector<std::string>& words);
