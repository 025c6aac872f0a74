// Histograms and curves as inline SVG. Its colours are the page's own: they follow it into dark mode and onto paper.
#pragma once

#include <array>
#include <cstdint>
#include <string>

// Pixels per file value 0..255 of red, green, blue.
using Counts = std::array<std::array<int64_t, 256>, 3>;
// File value 0..255 in, file value out. Red, green, blue.
using Curves = std::array<std::array<uint8_t, 256>, 3>;

// `gray`: the scan has one channel, which all three hold. Three channels that are equal get one line.

// Two figures, on the same axes.
std::string HistogramFigures(const Counts& before, const Counts& after, bool gray);

std::string CurveFigure(const Curves& curves, bool gray);

// A table of the shares of pixels at the ends of the scale.
std::string ClippingTable(const Counts& before, const Counts& after, bool gray);
