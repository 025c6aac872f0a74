// What an ICC profile says of the gamma of an image's values.
#pragma once

#include <cstddef>
#include <optional>

// Tenths, from 5 to 50: the gamma of the profile's curves as Little CMS estimates it, rounded. Nothing where the bytes
// are no profile, or one of another colour space than RGB and gray, or its curves have nothing like one gamma.
std::optional<int> ProfileGamma(const void* profile, std::size_t bytes);
