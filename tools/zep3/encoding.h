// How a scan's values stand for light: its gamma, from the ICC profile or as the user says.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include <vips/vips8>

#include "correction.h"

// The encoding of an image. Its profile's gamma as Little CMS estimates it, rounded to a tenth; without a profile, or
// when it has nothing like one gamma, 2.2, which is what sRGB comes to. given: in tenths, what the user says instead.
Encoding FindEncoding(const vips::VImage& image, std::optional<int> givenInput, std::optional<int> givenOutput);

// The image with a profile that fits the result: the profile's curves are replaced where input and output differ.
// Without a profile nothing changes. Throws Failure for a profile without curves to replace.
vips::VImage FitProfile(const vips::VImage& image, const Encoding& encoding);
