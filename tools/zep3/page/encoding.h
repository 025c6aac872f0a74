// The gamma of a scan's values, from its ICC profile or as the user says.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include <vips/vips8>

#include "page/correction.h"

// The encoding of an image. sRGB's curve where its profile has that, or it has no profile, or one that has nothing like
// a gamma; else its profile's gamma as Little CMS estimates it, rounded to a tenth. given: what the user says instead,
// in tenths or ZEP3_GAMMA_SRGB_CURVE.
Encoding FindEncoding(const vips::VImage& image, std::optional<int> givenInput, std::optional<int> givenOutput);

// The image with a profile that fits the result: the profile's curves are replaced where input and output differ.
// `madeGray`: its colours were; a gray profile takes the place of theirs, with the curve of green, or the result's
// gamma where that is another or there is no such curve. Without a profile nothing changes. Throws Failure for a
// profile without curves to replace.
vips::VImage FitProfile(const vips::VImage& image, const Encoding& encoding, bool madeGray);
