// The steps of FinishZEP3 one by one, without Python's lock where the library works.
#include "python/src/correction.h"

#include <algorithm>
#include <new>
#include <utility>

#include "engine/common/record.h"
#include "page/marker.h"

namespace py = pybind11;

namespace {

// The matrix that the calls of the analysis want; the film's own contrasts where there is none.
Matrix MatrixOf(const std::optional<Matrix>& matrix) { return matrix.value_or(Matrix{1, 0, 0, 0, 1, 0, 0, 0, 1}); }

const double* Given(const std::optional<Matrix>& matrix) { return matrix ? matrix->data() : nullptr; }

// A scan made small, in linear levels.
struct Prescan {
  std::vector<uint8_t> levels;
  std::vector<uint8_t> darkest, deviation; // for pages
  ZEP3_BmpInfo image = {};
  int64_t shrink = 1;

  ZEP3_DETAIL Detail() { return {darkest.data(), deviation.data()}; }
};

void LayArea(const std::optional<std::array<int64_t, 4>>& area, ZEP3_BmpInfo& image) {
  if (!area) return;
  const auto [left, top, width, height] = *area;
  image.area.ptLeft = image.area.ptTop = {left, top};
  image.area.ptRight = image.area.ptBottom = {left + width, top + height};
}

// Of a scan whose area is laid. False: out of memory, or an image that is refused.
bool MakePrescan(const ZEP3_BmpInfo& scan, int64_t gamma, bool page, Prescan& small) {
  small.shrink = GetZEP3PrescanShrink(scan.lWidth, scan.lHeight);
  const auto blocks = [&](int64_t side) { return static_cast<size_t>((side + small.shrink - 1) / small.shrink); };
  const size_t pixels = blocks(scan.lWidth) * blocks(scan.lHeight);
  small.levels.resize(3 * pixels);
  small.image.pBits = small.levels.data();
  if (!page) return MakeZEP3Prescan(&scan, gamma, small.shrink, &small.image) == 1;
  small.darkest.resize(3 * pixels);
  small.deviation.resize(pixels);
  const ZEP3_DETAIL detail = small.Detail();
  return MakeZEP3PagePrescan(&scan, gamma, small.shrink, &small.image, &detail) == 1;
}

bool AnalysePage(const ZEP3_BmpInfo& scan, Prescan& small, Correction& correction) {
  std::vector<ZEP3_CELL> cells(static_cast<size_t>(GetZEP3SurfaceRoom(small.image.lWidth, small.image.lHeight)));
  ZEP3_SURFACE surface = {};
  surface.lScanGamma = correction.gamma;
  surface.lWidth = scan.lWidth;
  surface.lHeight = scan.lHeight;
  surface.lSide = small.shrink;
  surface.pCells = cells.data();
  surface.lRoom = static_cast<int64_t>(cells.size());
  const ZEP3_DETAIL detail = small.Detail();
  if (!ZEP3Page(&small.image, &correction.record.para, &detail, &surface, &correction.evidence)) return false;
  if (surface.lFound == ZEP3_SURFACE_NONE) return true;
  cells.resize(static_cast<size_t>(surface.lColumns * surface.lRows));
  std::vector<uint8_t> pictures =
      FindPictures(surface, small.levels.data(), small.image.lWidth, small.image.lHeight, small.shrink);
  correction.paper = Paper{surface, std::make_shared<const std::vector<ZEP3_CELL>>(std::move(cells)),
                           std::make_shared<const std::vector<uint8_t>>(std::move(pictures))};
  return true;
}

// The evidence with places in pixels of the scan, as FinishZEP3 gives it.
void ToScan(int64_t shrink, ZEP3_EVIDENCE& evidence) {
  for (auto* corners : {&evidence.dWindow, &evidence.dPaper}) {
    for (auto& corner : *corners) {
      for (double& place : corner) place *= static_cast<double>(shrink);
    }
  }
}

Member MemberOf(const ZEP3_SHARED* shared, const ZEP3_EVIDENCE& evidence) {
  if (shared == nullptr) return Member::kSingle;
  if ((evidence.lReasons & ZEP3_REASON_SHARED) != 0) return Member::kShared;
  return (evidence.lReasons & ZEP3_REASON_ODD) != 0 ? Member::kOdd : Member::kBlank;
}

// Whether the library observes such scans, by the smallest picture that it takes.
bool CanShare(const ZEP3_PARA& para, const Matrix& film) {
  constexpr int64_t kSide = 16;
  std::vector<uint8_t> gray(3 * kSide * kSide, 128);
  ZEP3_BmpInfo picture;
  SetZEP3Image(&picture, gray.data(), kSide, kSide, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  ZEP3_OBSERVATION seen;
  return ObserveZEP3(&picture, &para, film.data(), &seen) == 1;
}

// The tables of MakeZEP3ScanLUT, from a copy of the record, which the table builder writes into.
std::vector<uint16_t> ScanTables(const Correction& correction, bool deep) {
  const int64_t entries = deep ? 65536 : 256;
  std::vector<uint16_t> table(static_cast<size_t>(3 * entries));
  Record copy = correction.record;
  if (!MakeZEP3ScanLUT(&copy.para, Given(correction.matrix), correction.gamma, entries, table.data())) {
    throw std::bad_alloc();
  }
  return table;
}

void CheckScan(const Settings& settings, const ScanArray& scan) {
  if (const char* wrong = CheckZEP3(ZEP3_CALL_FINISH, &scan.image, &settings.record.para, Given(settings.matrix))) {
    throw py::value_error(wrong);
  }
}

// Throws where an array of such sides, laid there, is no part of the page.
void CheckPlace(const ZEP3_SURFACE& page, int64_t width, int64_t height, const std::array<int64_t, 2>& at) {
  const auto [x, y] = at;
  if (x < 0 || y < 0 || width > page.lWidth - x || height > page.lHeight - y) {
    throw py::value_error("the page that was analysed has " + std::to_string(page.lWidth) + " x " +
                          std::to_string(page.lHeight) + " pixels: this array is no part of it");
  }
}

void CheckTables(const Correction& correction) {
  if (const char* wrong = CheckZEP3(ZEP3_CALL_TABLES, nullptr, &correction.record.para, Given(correction.matrix))) {
    throw py::value_error(wrong);
  }
}

} // namespace

ZEP3_SURFACE Paper::Surface() const {
  ZEP3_SURFACE surface = figures;
  surface.pCells = const_cast<ZEP3_CELL*>(cells->data());
  surface.lRoom = static_cast<int64_t>(cells->size());
  return surface;
}

bool Settings::IsPageAnalysis() const { return adaptive && IsPage(record.para) && !IsPlain(record.para); }

Correction Settings::Analyse(const py::array& array, const ZEP3_SHARED* shared, bool inRoll) const {
  ScanArray scan = ToRead(array);
  LayArea(area, scan.image);
  Correction correction;
  correction.record = record;
  correction.matrix = matrix;
  correction.gamma = gamma;
  correction.width = scan.image.lWidth;
  correction.height = scan.image.lHeight;
  correction.area = area;
  ZEP3_PARA& para = correction.record.para;
  CheckScan(*this, scan);
  bool found = false;
  bool again = false;
  {
    const py::gil_scoped_release release;
    Matrix film = MatrixOf(matrix);
    Prescan small;
    const bool page = IsPageAnalysis();
    found = MakePrescan(scan.image, gamma, page, small);
    if (page) {
      found = found && AnalysePage(scan.image, small, correction);
      if (!even) correction.paper.reset();
    } else if (shared != nullptr) {
      found = found && ZEP3Shared(&small.image, &para, film.data(), shared, &correction.evidence);
    } else if (adaptive) {
      found = found && ZEP3Adaptive(&small.image, &para, film.data(), &correction.evidence);
    } else {
      found = found && ZEP3(&small.image, &para, film.data());
    }
    again = gamma == ZEP3_GAMMA_SRGB_CURVE && correction.evidence.lAnalysis == ZEP3_ANALYSIS_STANDARD;
    if (found && (correction.evidence.lVerdict == ZEP3_VERDICT_NONE || HasUserValues(para))) {
      found = JudgeZEP3(&small.image, &para, Given(matrix), &correction.evidence);
    }
    ToScan(small.shrink, correction.evidence);
  }
  if (!found) throw std::bad_alloc(); // what else is refused was checked above
  if (again) {
    // The scan says too little: the standard analysis decided, and has its own way of taking values.
    Settings standard = *this;
    standard.gamma = ZEP3_GAMMA_SRGB;
    return standard.Analyse(array, shared, inRoll);
  }
  if (inRoll) correction.member = MemberOf(shared, correction.evidence);
  return correction;
}

ZEP3_OBSERVATION Settings::Observe(const py::array& array) const {
  ScanArray scan = ToRead(array);
  LayArea(area, scan.image);
  CheckScan(*this, scan);
  ZEP3_OBSERVATION seen;
  bool found = false;
  {
    const py::gil_scoped_release release;
    const Matrix film = MatrixOf(matrix);
    Prescan small;
    found = MakePrescan(scan.image, gamma, false, small) &&
            ObserveZEP3(&small.image, &record.para, film.data(), &seen) == 1;
  }
  if (!found && !CanShare(record.para, MatrixOf(matrix))) {
    throw py::value_error("scans of this kind, or with the plain handling, share nothing with each other");
  }
  if (!found) throw std::bad_alloc();
  return seen;
}

void Correction::Judge(const py::array& array) {
  ScanArray scan = ToRead(array);
  if (scan.image.lWidth != width || scan.image.lHeight != height) {
    throw py::value_error("the scan has " + std::to_string(scan.image.lWidth) + " x " +
                          std::to_string(scan.image.lHeight) + " pixels, the one that was analysed had " +
                          std::to_string(width) + " x " + std::to_string(height));
  }
  CheckTables(*this);
  LayArea(area, scan.image);
  const Record copy = record;
  ZEP3_EVIDENCE judged = evidence;
  bool found = false;
  {
    const py::gil_scoped_release release;
    Prescan small;
    found = MakePrescan(scan.image, gamma, false, small);
    for (auto* corners : {&judged.dWindow, &judged.dPaper}) {
      for (auto& corner : *corners) {
        for (double& place : corner) place /= static_cast<double>(small.shrink);
      }
    }
    found = found && JudgeZEP3(&small.image, &copy.para, Given(matrix), &judged);
    ToScan(small.shrink, judged);
  }
  if (!found) throw std::bad_alloc();
  evidence.lVerdict = judged.lVerdict;
  evidence.lReasons = judged.lReasons;
}

py::array Correction::Tables(int bits) const {
  if (bits != 8 && bits != 16) throw py::value_error("bits is neither 8 nor 16");
  CheckTables(*this);
  const std::vector<uint16_t> fine = ScanTables(*this, bits == 16);
  if (bits == 16) return py::array_t<uint16_t>({3, 65536}, fine.data());
  py::array_t<uint8_t> bytes({3, 256});
  std::transform(fine.begin(), fine.end(), bytes.mutable_data(),
                 [](uint16_t level) { return static_cast<uint8_t>((level + 128) / 257); });
  return bytes;
}

py::array Correction::Apply(const py::array& array, const py::object& out, bool saturation,
                            const std::array<int64_t, 2>& at) const {
  CheckTables(*this);
  const ZEP3_SURFACE surface = paper ? paper->Surface() : ZEP3_SURFACE{};
  if (paper && array.ndim() >= 2) CheckPlace(surface, array.shape(1), array.shape(0), at);
  const ScanArray result = CopyToWrite(array, out);
  const Correction copy = *this; // which another thread may change meanwhile
  bool applied = false;
  {
    const py::gil_scoped_release release;
    if (paper) {
      const int64_t entries = result.IsDeep() ? int64_t{ZEP3_PAGE_ENTRIES_16} : int64_t{ZEP3_PAGE_ENTRIES_8};
      std::vector<uint16_t> table(static_cast<size_t>(7 * entries));
      applied = MakeZEP3PageLUT(&copy.record.para, &surface, entries, table.data()) &&
                ApplyZEP3Page(&result.image, at[0], at[1], &surface, table.data());
    } else {
      const double chroma = saturation ? GetZEP3Chroma(&copy.record.para) : 1;
      applied = ApplyZEP3ScanLUT(&result.image, ScanTables(copy, result.IsDeep()).data(), chroma) == 1;
    }
  }
  if (!applied) throw std::bad_alloc();
  return result.array;
}

void Correction::LightenMarker(const ScanArray& result, const std::array<int64_t, 2>& at) const {
  const ZEP3_BmpInfo& image = result.image;
  const bool alpha = image.wPixelFormat == ZEP3_PIXEL_RGBA;
  if (!paper || (image.wPixelFormat != ZEP3_PIXEL_RGB && !alpha)) return;
  const ZEP3_SURFACE surface = paper->Surface();
  CheckPlace(surface, image.lWidth, image.lHeight, at);
  const std::shared_ptr<const std::vector<uint8_t>> pictures = paper->pictures;
  const py::gil_scoped_release release;
  for (int64_t line = 0; line < image.lHeight; line++) {
    uint8_t* const first = image.pBits + line * image.lBytesPerLine;
    const auto lighten = [&](auto* pixels) {
      LightenMarkerBesidePictures(pixels, image.lWidth, alpha ? 4 : 3, at[0], at[1] + line, surface, *pictures);
    };
    if (result.IsDeep()) {
      lighten(reinterpret_cast<uint16_t*>(first));
    } else {
      lighten(first);
    }
  }
}
