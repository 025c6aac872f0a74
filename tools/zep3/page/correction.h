// The correction of one page: all that is needed to repeat it, and what it rests on.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "page/cut.h"
#include "page/frame.h"
#include "page/paper.h"
#include "page/record.h"

// Gamma of pixel values, in tenths: 22 is 2.2. The engine's resolution is a tenth, so is ours, in both directions: what
// is not corrected comes out as it went in.
struct Encoding {
  int input = 22;     // of the scan's values; or ZEP3_GAMMA_SRGB_CURVE
  int output = 22;    // of the result's values: the record's lScreenGamma, 22 for sRGB
  std::string source; // where the input's comes from: "ICC profile NAME", "sRGB assumed", "given"

  bool IsSrgb() const { return input == ZEP3_GAMMA_SRGB_CURVE; }
  // The result's values stand for what the scan's do.
  bool IsKept() const { return output == (IsSrgb() ? int{ZEP3_GAMMA_SRGB} : input); }
};

// One channel of the whole pre-scan, on the engine's scale (linear levels).
struct ChannelStatistics {
  std::array<int64_t, 256> histogram{};
  int minimum = 0, maximum = 0;
  double mean = 0;
  // The level at or below which this share of the pixels lies.
  int Percentile(double percent) const;
};

struct Prescan {
  int64_t width = 0, height = 0; // of the pre-scan
  int64_t shrink = 1;            // pixels of the scan per pixel of the pre-scan, each way
  int64_t scanWidth = 0, scanHeight = 0;
  AREA area = {}; // on the pre-scan
  std::array<ChannelStatistics, 3> channels;
};

// Whether a page belongs to its roll or box.
enum class Member {
  kNone,   // of no roll: it was analysed by itself
  kShared, // it belongs
  kOdd,    // it is unlike the others: analysed by itself
  kBlank,  // nothing on it to decide from
  kSingle, // too few of its roll belong together: analysed by itself
};
inline constexpr const char* kMemberNames[] = {"", "shared", "odd", "blank", "single"};

// Which analysis a correction comes from, and what that saw.
struct Finding {
  bool adaptive = false; // asked for; whose points the record holds, the evidence tells
  bool repeated = false; // from a sidecar, perhaps of another scan
  Member member = Member::kNone;
  bool mixedRoll = false;      // the frames of its roll do not share a base
  ZEP3_EVIDENCE evidence = {}; // of the standard analysis: nothing
};

struct Correction {
  Record record;                               // complete: analysis, pipettes and user values; saturation still in it
  std::optional<std::array<double, 9>> matrix; // row-major
  Encoding encoding;
  Prescan prescan;
  std::optional<Finding> finding;      // absent: from a sidecar that does not tell
  std::optional<PaperSurface> paper;   // absent: tables alone
  std::optional<Frame> frame;          // absent: the picture fills the scan, or was not found
  int64_t verdict = ZEP3_VERDICT_NONE; // on what it makes of this scan
};

// One corrected page of a scan.
struct CorrectedPage {
  int page = 0; // in its file, from 0
  int bands = 3;
  int bits = 8;           // per value
  double chroma = 1;      // as applied, see ApplyCorrection
  bool gray = false;      // the result has one gray channel in place of its colours
  bool keepSpace = false; // CMYK and Lab come out as such again
  Correction correction;
  std::optional<Cut> cut;  // absent: the result shows the whole scan
  std::string uncut{};     // why, where it was to be cut
  std::string converted{}; // what was done to colours that are not RGB
  std::string ownPaper{};  // why the surface in the sidecar was not repeated
};
