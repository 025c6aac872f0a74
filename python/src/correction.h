// How scans are to be corrected, and what was found for one.
#pragma once

#include <pybind11/numpy.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/zep3.h"
#include "page/record.h"
#include "python/src/scan_array.h"

using Matrix = std::array<double, 9>;

// The paper of a page.
struct Paper {
  ZEP3_SURFACE figures = {};
  std::shared_ptr<const std::vector<ZEP3_CELL>> cells;
  std::shared_ptr<const std::vector<uint8_t>> pictures; // see FindPictures

  // For the calls of the library, which only read it; of use as long as this object.
  ZEP3_SURFACE Surface() const;
};

// Whether a scan belongs to its roll or box.
enum class Member { kNone, kShared, kOdd, kBlank, kSingle };

struct Correction {
  Record record;
  std::optional<Matrix> matrix;
  int64_t gamma = ZEP3_GAMMA_SRGB; // of the scan's values, tenths or ZEP3_GAMMA_SRGB_CURVE
  std::optional<Paper> paper;
  ZEP3_EVIDENCE evidence = {};
  Member member = Member::kNone;
  int64_t width = 0, height = 0; // of the scan
  std::optional<std::array<int64_t, 4>> area;

  // Holds it against the scan.
  void Judge(const pybind11::array& scan);
  // The tables alone: 3 tables of 256 bytes, or of 65536 16-bit values.
  pybind11::array Tables(int bits) const;
  // `at`: where the array's first pixel lies in the scan (x, y).
  pybind11::array Apply(const pybind11::array& scan, const pybind11::object& out, bool saturation,
                        const std::array<int64_t, 2>& at) const;
  // Of a result from there on, R G B and perhaps alpha, in place; nothing where no page was evened.
  void LightenMarker(const ScanArray& result, const std::array<int64_t, 2>& at) const;
};

// How scans are to be corrected. Of any thread: nothing here changes.
struct Settings {
  Record record; // kind, strength and what the user adds
  std::optional<Matrix> matrix;
  int64_t gamma = ZEP3_GAMMA_SRGB; // likewise
  bool adaptive = true;
  bool even = true;
  std::optional<std::array<int64_t, 4>> area; // left, top, width, height

  bool IsPageAnalysis() const;
  // `shared`: what the scan shares with its roll or box, or null. `inRoll`: it is a frame of one.
  Correction Analyse(const pybind11::array& scan, const ZEP3_SHARED* shared, bool inRoll) const;
  ZEP3_OBSERVATION Observe(const pybind11::array& scan) const;
};
