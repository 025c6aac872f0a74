// ICC profiles by Little CMS, and what they say of the gamma of an image's values.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

struct CloseProfile {
  void operator()(void* profile) const;
};
using IccProfile = std::unique_ptr<void, CloseProfile>;

// Null where the bytes are no profile.
IccProfile OpenProfile(const void* bytes, std::size_t size);

// ZEP3_GAMMA_SRGB_CURVE where the profile's curves are sRGB's; else, in tenths from 5 to 50, their gamma as Little CMS
// estimates it, rounded. Nothing where there is no profile, or one of another colour space than RGB and gray, or its
// curves have nothing like one gamma.
std::optional<int> GammaOf(const IccProfile& profile);
