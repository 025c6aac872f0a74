// From a scan to its correction: the pre-scan, the engine's analysis, the pipettes.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>

#include <vips/vips8>

#include "arguments.h"
#include "correction.h"
#include "kinds.h"

// What the user says about the original, and asks of the analysis.
struct AnalysisOptions {
  const Kind* kind = FindKind("photo");
  int64_t level = 4;
  int64_t backlight = 0;
  bool plain = false;
  std::optional<bool> adaptive; // absent: as is best for the kind
  std::optional<std::array<double, 9>> matrix;
  AreaArgument area;
  std::optional<PipetteArgument> grayPipette, gammaPipette;
};

// What the user adds to a correction, found or repeated. Absent: as the correction has it.
struct UserOptions {
  std::optional<int64_t> brightness, contrast;
  std::optional<std::array<int64_t, 3>> balance;
  std::optional<ZEP3_TONE> masterCurve;
  std::array<std::optional<ZEP3_TONE>, 3> channelCurves;
};

// A scan made small: box means of its values, one or three colour bands, in memory.
struct SmallScan {
  vips::VImage image;
  int64_t shrink = 1;
  int64_t scanWidth = 0, scanHeight = 0;
};

// Colour bands of an image: 1 or 3; what lies behind them (alpha) is not analysed and not corrected.
int ColourBands(const vips::VImage& image);

// `plain`, where it says so, reads the page from its file without a decoder: side of a block to its means, or null.
using PlainReader = std::function<vips::VImage(int64_t side)>;

// Reads the image. `held`, where given, becomes the same image in memory, unless that takes too much or `plain` reads
// it.
SmallScan TakePrescan(const vips::VImage& image, const PlainReader& plain, vips::VImage* held);

// Throws Failure when the engine refuses the scan, or a pipette its place or colour.
Correction Analyse(const SmallScan& scan, const AnalysisOptions& analysis, const UserOptions& user,
                   const Encoding& encoding);

// Puts the scan's own size and statistics into a correction that was found on another.
void MeasurePrescan(const SmallScan& scan, Correction& correction);

void ApplyUserOptions(const UserOptions& user, Record& record);
