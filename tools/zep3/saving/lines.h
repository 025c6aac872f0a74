// The lines of an image, one after another.
#pragma once

#include <cstdint>
#include <functional>

#include <vips/vips8>

// Calls take(line) for each line from the top, while the next are computed on other threads. What it throws ends that
// and is thrown from here, as are the faults of libvips.
void ForEachLine(const vips::VImage& image, const std::function<void(const uint8_t* line)>& take);
