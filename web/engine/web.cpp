// The library for a page: a scan with its record behind a handle, and its fields by name and number. A page cannot use
// the records themselves, for their offsets move with the size of a pointer.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "engine/adaptive/view.h"
#include "engine/common/record.h"
#include "engine/verdict/kind_odds.h"
#include "engine/zep3.h"

#define EXPORT extern "C" __attribute__((used, visibility("default")))

namespace {

// What a table depends on, and the table.
struct Tables {
  int64_t entries = 0; // 0: there is none
  std::vector<uint16_t> values;
};

} // namespace

// A scan made small, its correction, and what was found. Owned by the page.
struct WebScan {
  int64_t width = 0, height = 0, shrink = 1;
  int64_t fileGamma = ZEP3_GAMMA_SRGB;            // of the scan's values ...
  int64_t gamma = ZEP3_GAMMA_SRGB;                // ... and as the analysis takes them
  ZEP3_BmpInfo image = {};                        // the pre-scan, in the linear levels of that
  std::vector<uint8_t> levels, curved;            // by a plain gamma, and by sRGB's curve where the file has it
  std::vector<uint8_t> means, darkest, deviation; // means: in the scan's own values
  ZEP3_PARA para = {};
  ZEP3_TONE master = {}, rgb[3] = {};
  bool hasMatrix = false; // of a correction that is repeated
  double matrix[9] = {};
  ZEP3_EVIDENCE evidence = {};
  ZEP3_SURFACE surface = {};
  std::vector<ZEP3_CELL> cells;
  std::optional<ZEP3_OBSERVATION> seen;
  Tables tables;

  void Take(int64_t as) {
    gamma = as;
    image.pBits = as == ZEP3_GAMMA_SRGB_CURVE ? curved.data() : levels.data();
  }
  const double* Matrix() const { return hasMatrix ? matrix : nullptr; }
  bool HasPaper() const { return surface.lFound != ZEP3_SURFACE_NONE && !cells.empty(); }
};

// Scans that are finished together, and what they share.
struct WebRoll {
  std::vector<ZEP3_OBSERVATION> seen;
  ZEP3_SHARED shared = {};
  bool solved = false;
};

namespace {

constexpr double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// ---- fields of the record, for both directions ----

struct Field {
  const char* name;
  double (*get)(const WebScan&);
  void (*set)(WebScan&, double);
};

#define FIELD(name, place)                                                                          \
  {                                                                                                 \
    name, [](const WebScan& scan) { return double(scan.place); }, [](WebScan& scan, double value) { \
      scan.place = static_cast<decltype(scan.place)>(static_cast<int64_t>(value));                  \
    }                                                                                               \
  }
#define REAL(name, place)                                         \
  {                                                               \
    name, [](const WebScan& scan) { return double(scan.place); }, \
        [](WebScan& scan, double value) { scan.place = value; }   \
  }
#define POINTS(channel, i)                                                                                        \
  FIELD("points." channel ".lHlIn", para.ic.ch[i].lHlIn), FIELD("points." channel ".lSdIn", para.ic.ch[i].lSdIn), \
      FIELD("points." channel ".lHlOut", para.ic.ch[i].lHlOut),                                                   \
      FIELD("points." channel ".lSdOut", para.ic.ch[i].lSdOut),                                                   \
      FIELD("points." channel ".lGamma", para.ic.ch[i].lGamma)

constexpr Field kFields[] = {
    FIELD("wDocType", para.wDocType),
    FIELD("wSubMode", para.wSubMode),
    FIELD("wDocOption", para.wDocOption),
    FIELD("lScreenGamma", para.lScreenGamma),
    FIELD("wHlCurveType", para.ic.wHlCurveType),
    FIELD("wSdCurveType", para.ic.wSdCurveType),
    FIELD("lBrightness", para.ic.lBrightness),
    FIELD("lContrast", para.ic.lContrast),
    FIELD("lColorBalanceR", para.ic.lColorBalanceR),
    FIELD("lColorBalanceG", para.ic.lColorBalanceG),
    FIELD("lColorBalanceB", para.ic.lColorBalanceB),
    FIELD("lSaturation", para.lSaturation),
    FIELD("lLevelFlag", para.lLevelFlag),
    FIELD("lCorrectLevel", para.lCorrectLevel),
    FIELD("lAgainstLight", para.lAgainstLight),
    POINTS("red", 0),
    POINTS("green", 1),
    POINTS("blue", 2),
    FIELD("scan.gamma", gamma),
    FIELD("scan.fileGamma", fileGamma),
    FIELD("prescan.width", image.lWidth),
    FIELD("prescan.height", image.lHeight),
    FIELD("prescan.shrink", shrink),
    FIELD("area.left.x", image.area.ptLeft.x),
    FIELD("area.left.y", image.area.ptLeft.y),
    FIELD("area.top.x", image.area.ptTop.x),
    FIELD("area.top.y", image.area.ptTop.y),
    FIELD("area.right.x", image.area.ptRight.x),
    FIELD("area.right.y", image.area.ptRight.y),
    FIELD("area.bottom.x", image.area.ptBottom.x),
    FIELD("area.bottom.y", image.area.ptBottom.y),
    FIELD("matrix.given", hasMatrix),
    REAL("matrix.0", matrix[0]),
    REAL("matrix.1", matrix[1]),
    REAL("matrix.2", matrix[2]),
    REAL("matrix.3", matrix[3]),
    REAL("matrix.4", matrix[4]),
    REAL("matrix.5", matrix[5]),
    REAL("matrix.6", matrix[6]),
    REAL("matrix.7", matrix[7]),
    REAL("matrix.8", matrix[8]),
    FIELD("evidence.analysis", evidence.lAnalysis),
    FIELD("evidence.verdict", evidence.lVerdict),
    FIELD("evidence.reasons", evidence.lReasons),
    REAL("evidence.confidence", evidence.dConfidence),
    REAL("evidence.windowConfidence", evidence.dWindowConfidence),
    FIELD("evidence.frames", evidence.lFrames),
    FIELD("surface.found", surface.lFound),
    FIELD("surface.left", surface.lLeft),
    FIELD("surface.top", surface.lTop),
    FIELD("surface.side", surface.lSide),
    FIELD("surface.columns", surface.lColumns),
    FIELD("surface.rows", surface.lRows),
    REAL("surface.paper.0", surface.dPaper[0]),
    REAL("surface.paper.1", surface.dPaper[1]),
    REAL("surface.paper.2", surface.dPaper[2]),
    REAL("surface.objectTint.0", surface.dObjectTint[0]),
    REAL("surface.objectTint.1", surface.dObjectTint[1]),
    REAL("surface.objectTint.2", surface.dObjectTint[2]),
    REAL("surface.objectShadow", surface.dObjectShadow),
    REAL("surface.objectGamma", surface.dObjectGamma),
    REAL("surface.whiteFrom", surface.dWhiteFrom),
    REAL("surface.whiteTo", surface.dWhiteTo),
};
constexpr int kFieldCount = sizeof kFields / sizeof *kFields;

ZEP3_TONE* ToneOf(WebScan& scan, int which) {
  if (which == 0) return &scan.master;
  return which <= 3 ? &scan.rgb[which - 1] : nullptr;
}

ZEP3_DETAIL DetailOf(WebScan& scan) { return {scan.darkest.data(), scan.deviation.data()}; }

ZEP3_SURFACE SurfaceOf(WebScan& scan) {
  ZEP3_SURFACE surface = scan.surface;
  surface.lScanGamma = scan.gamma;
  surface.lWidth = scan.width;
  surface.lHeight = scan.height;
  surface.pCells = scan.cells.data();
  surface.lRoom = static_cast<int64_t>(scan.cells.size());
  return surface;
}

bool AnalysePage(WebScan& scan, bool even) {
  scan.cells.assign(static_cast<size_t>(GetZEP3SurfaceRoom(scan.image.lWidth, scan.image.lHeight)), {});
  scan.surface = {};
  ZEP3_SURFACE surface = SurfaceOf(scan);
  surface.lSide = scan.shrink;
  const ZEP3_DETAIL detail = DetailOf(scan);
  const bool found = ZEP3Page(&scan.image, &scan.para, &detail, &surface, &scan.evidence) == 1;
  const bool evened = found && even && surface.lFound != ZEP3_SURFACE_NONE;
  scan.cells.resize(evened ? static_cast<size_t>(surface.lColumns * surface.lRows) : 0);
  scan.surface = evened ? surface : ZEP3_SURFACE{};
  return found;
}

// Places in the pre-scan become places in the scan, or back.
void ScaleEvidence(WebScan& scan, double by) {
  for (int i = 0; i < 4; i++) {
    for (int axis = 0; axis < 2; axis++) {
      scan.evidence.dWindow[i][axis] *= by;
      scan.evidence.dPaper[i][axis] *= by;
    }
  }
}

bool MakeTables(WebScan& scan, int64_t entries) {
  if (scan.tables.entries == entries) return true;
  scan.tables.entries = 0;
  if (scan.HasPaper()) {
    const int64_t pageEntries = entries == 256 ? int64_t{ZEP3_PAGE_ENTRIES_8} : int64_t{ZEP3_PAGE_ENTRIES_16};
    scan.tables.values.resize(static_cast<size_t>(7 * pageEntries));
    const ZEP3_SURFACE surface = SurfaceOf(scan);
    if (!MakeZEP3PageLUT(&scan.para, &surface, pageEntries, scan.tables.values.data())) return false;
  } else {
    ZEP3_PARA copy = scan.para; // the table builder writes into it
    scan.tables.values.resize(static_cast<size_t>(3 * entries));
    if (!MakeZEP3ScanLUT(&copy, scan.Matrix(), scan.gamma, entries, scan.tables.values.data())) return false;
  }
  scan.tables.entries = entries;
  return true;
}

const ZEP3_EVIDENCE_ITEM* Item(int i) { return GetZEP3EvidenceItem(i); }

} // namespace

// ---- memory and scans ----

EXPORT int web_version(int minor) {
  int64_t version[2] = {};
  GetZEP3Version(&version[0], &version[1]);
  return static_cast<int>(version[minor]);
}

EXPORT uint8_t* web_alloc(uint32_t bytes) { return new uint8_t[bytes]; }
EXPORT void web_release(uint8_t* bytes) { delete[] bytes; }

EXPORT WebScan* web_scan_new(double width, double height, double gamma) {
  auto* scan = new WebScan;
  scan->width = static_cast<int64_t>(width);
  scan->height = static_cast<int64_t>(height);
  scan->fileGamma = scan->gamma = static_cast<int64_t>(gamma);
  scan->shrink = GetZEP3PrescanShrink(scan->width, scan->height);
  ResetZEP3(&scan->para, &scan->master, scan->rgb);
  return scan;
}
EXPORT void web_scan_delete(WebScan* scan) { delete scan; }

// ---- the pre-scan, band by band ----

// Lines of the scan to a band: whole squares of the pre-scan of which MakeZEP3PagePrescan looks at the same pixels.
EXPORT uint32_t web_band_lines(const WebScan* scan) { return static_cast<uint32_t>(4 * scan->shrink); }

EXPORT void web_prescan_begin(WebScan* scan) {
  const auto blocks = [&](int64_t side) { return (side + scan->shrink - 1) / scan->shrink; };
  const int64_t width = blocks(scan->width), height = blocks(scan->height);
  const auto pixels = static_cast<size_t>(width * height);
  scan->levels.assign(3 * pixels, 0);
  scan->curved.assign(scan->fileGamma == ZEP3_GAMMA_SRGB_CURVE ? 3 * pixels : 0, 0);
  scan->means.assign(3 * pixels, 0);
  scan->darkest.assign(3 * pixels, 0);
  scan->deviation.assign(pixels, 0);
  SetZEP3Image(&scan->image, scan->levels.data(), width, height, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  scan->Take(scan->gamma);
}

// `y`: the band's first line, a multiple of web_band_lines. The last call takes the means in the scan's values, which
// are what the same makes of levels.
EXPORT int web_prescan_band(WebScan* scan, uint8_t* pixels, double y, double lines, int format, int bits) {
  ZEP3_BmpInfo band;
  SetZEP3Image(&band, pixels, scan->width, static_cast<int64_t>(lines), 0, format, bits);
  const int64_t first = static_cast<int64_t>(y) / scan->shrink * scan->image.lWidth;
  const ZEP3_DETAIL detail = {scan->darkest.data() + 3 * first, scan->deviation.data() + first};
  ZEP3_BmpInfo small = {};
  small.pBits = scan->levels.data() + 3 * first;
  const bool curved = scan->fileGamma == ZEP3_GAMMA_SRGB_CURVE;
  const int64_t plain = curved ? int64_t{ZEP3_GAMMA_SRGB} : scan->fileGamma;
  if (!MakeZEP3PagePrescan(&band, plain, scan->shrink, &small, &detail)) return 0;
  if (curved) {
    small.pBits = scan->curved.data() + 3 * first;
    if (!MakeZEP3Prescan(&band, scan->fileGamma, scan->shrink, &small)) return 0;
  }
  small.pBits = scan->means.data() + 3 * first;
  return MakeZEP3Prescan(&band, ZEP3_GAMMA_LINEAR_LEVELS, scan->shrink, &small);
}

EXPORT const uint8_t* web_levels(const WebScan* scan) { return scan->image.pBits; }
EXPORT const uint8_t* web_means(const WebScan* scan) { return scan->means.data(); }

// ---- fields ----

EXPORT const char* web_field_name(int i) { return i < kFieldCount ? kFields[i].name : nullptr; }
EXPORT double web_get(const WebScan* scan, int i) { return kFields[i].get(*scan); }
EXPORT void web_set(WebScan* scan, int i, double value) {
  kFields[i].set(*scan, value);
  scan->tables.entries = 0;
}

// which: 0 all channels, 1 to 3 red, green, blue.
EXPORT int web_tone_count(WebScan* scan, int which) { return ToneOf(*scan, which)->wPointNum; }
EXPORT double web_tone_x(WebScan* scan, int which, int i) { return double(ToneOf(*scan, which)->ptCtrl[i].x); }
EXPORT double web_tone_y(WebScan* scan, int which, int i) { return double(ToneOf(*scan, which)->ptCtrl[i].y); }
EXPORT void web_tone_clear(WebScan* scan, int which) { *ToneOf(*scan, which) = {}; }
EXPORT void web_tone_add(WebScan* scan, int which, double x, double y) {
  ZEP3_TONE& tone = *ToneOf(*scan, which);
  if (tone.wPointNum >= ZEP3_TONE_POINTS) return;
  tone.ptCtrl[tone.wPointNum++] = {static_cast<int64_t>(x), static_cast<int64_t>(y)};
  scan->tables.entries = 0;
}

// ---- analysis ----

// The record as a caller starts from, with a kind. 0 for an unknown one.
EXPORT int web_reset(WebScan* scan, const char* kind) {
  ResetZEP3(&scan->para, &scan->master, scan->rgb);
  scan->evidence = {};
  scan->surface = {};
  scan->cells.clear();
  scan->hasMatrix = false;
  scan->tables.entries = 0;
  if (!SetZEP3Kind(&scan->para, kind)) return 0;
  scan->Take(GetZEP3ScanGamma(scan->fileGamma, ZEP3_UNSET, &scan->para));
  if (scan->fileGamma != ZEP3_GAMMA_SRGB_CURVE) scan->para.lScreenGamma = scan->fileGamma;
  return 1;
}

// adaptive: 1 or 0; roll: null for a scan by itself. Places in the evidence become those of the scan.
EXPORT int web_analyse(WebScan* scan, int adaptive, int even, const WebRoll* roll) {
  double film[9];
  std::memcpy(film, kIdentity, sizeof film);
  scan->tables.entries = 0;
  scan->evidence = {};
  scan->surface = {};
  scan->cells.clear();
  const auto analyse = [&] {
    if (adaptive && IsPage(scan->para) && !IsPlain(scan->para)) return AnalysePage(*scan, even != 0);
    if (roll != nullptr && roll->solved) {
      return ZEP3Shared(&scan->image, &scan->para, film, &roll->shared, &scan->evidence) == 1;
    }
    if (adaptive) return ZEP3Adaptive(&scan->image, &scan->para, film, &scan->evidence) == 1;
    return ZEP3(&scan->image, &scan->para, film) == 1;
  };
  scan->Take(GetZEP3ScanGamma(scan->fileGamma, adaptive, &scan->para));
  const ZEP3_PARA asked = scan->para;
  bool found = analyse();
  if (found && scan->gamma == ZEP3_GAMMA_SRGB_CURVE && scan->evidence.lAnalysis == ZEP3_ANALYSIS_STANDARD) {
    // The scan says too little: the standard analysis decided, and has its own way of taking values.
    scan->Take(ZEP3_GAMMA_SRGB);
    scan->para = asked;
    found = analyse();
  }
  if (found && scan->evidence.lVerdict == ZEP3_VERDICT_NONE) {
    found = JudgeZEP3(&scan->image, &scan->para, nullptr, &scan->evidence) == 1;
  }
  ScaleEvidence(*scan, static_cast<double>(scan->shrink));
  return found;
}

EXPORT int web_judge(WebScan* scan) {
  ScaleEvidence(*scan, 1 / static_cast<double>(scan->shrink));
  const int judged = JudgeZEP3(&scan->image, &scan->para, scan->Matrix(), &scan->evidence);
  ScaleEvidence(*scan, static_cast<double>(scan->shrink));
  return judged;
}

// Natural logarithm of the odds that the scan shows a negative, where its picture lies by the kind of the record.
EXPORT double web_negative_odds(const WebScan* scan) { return NegativeLogOdds(LookAt(scan->image, scan->para)); }

EXPORT const char* web_check(const WebScan* scan, int call) {
  return CheckZEP3(call, &scan->image, &scan->para, kIdentity);
}

// A linear level as display levels before the correction; of a negative, of the inverted scan.
EXPORT double web_picked(WebScan* scan, double level) {
  const int64_t level16 = std::llround(257 * std::fmin(level, 255));
  return double(std::llround(double(ValueOfScreenGammaConv(level16, &scan->para)) / 257));
}

// 0 where the colour is too dark to be made gray; nothing has moved then.
EXPORT int web_gray(WebScan* scan, double red, double green, double blue, double strength) {
  const ZEP3_IC before = scan->para.ic;
  GetGrayBalance(&scan->para, {int64_t(red), int64_t(green), int64_t(blue), int64_t(strength)});
  scan->tables.entries = 0;
  for (const ZEP3_POINTS& points : scan->para.ic.ch) {
    if (points.lHlIn != INT32_MIN && points.lSdIn != INT32_MIN) continue;
    scan->para.ic = before;
    return 0;
  }
  return 1;
}

// ---- rolls ----

EXPORT WebRoll* web_roll_new() { return new WebRoll; }
EXPORT void web_roll_delete(WebRoll* roll) { delete roll; }

// The scan's record tells the kind. 0 where it is refused.
EXPORT int web_roll_add(WebRoll* roll, const WebScan* scan) {
  ZEP3_OBSERVATION seen;
  if (!ObserveZEP3(&scan->image, &scan->para, kIdentity, &seen)) return 0;
  roll->seen.push_back(seen);
  return 1;
}

// 0 where too few belong together.
EXPORT int web_roll_solve(WebRoll* roll) {
  std::vector<int64_t> members(roll->seen.size());
  roll->solved =
      SolveZEP3Shared(roll->seen.data(), static_cast<int64_t>(members.size()), &roll->shared, members.data()) == 1;
  return roll->solved;
}

// ---- what was found ----

EXPORT const char* web_kind_name(int i) {
  const ZEP3_KIND* kind = GetZEP3Kind(i);
  return kind != nullptr ? kind->pName : nullptr;
}
EXPORT const char* web_kind_text(int i) { return GetZEP3Kind(i)->pText; }
EXPORT const char* web_kind_of(const WebScan* scan) {
  const ZEP3_KIND* kind = FindZEP3KindOf(&scan->para);
  return kind != nullptr ? kind->pName : nullptr;
}

EXPORT const char* web_reason_code(int i) {
  const ZEP3_REASON* reason = GetZEP3Reason(i);
  return reason != nullptr ? reason->pCode : nullptr;
}
EXPORT const char* web_reason_text(int i) { return GetZEP3Reason(i)->pText; }
EXPORT const char* web_reason_sentence(int i) { return GetZEP3Reason(i)->pSentence; }
// 1: something speaks against a result, or there is none.
EXPORT int web_reason_against(int i) {
  constexpr int64_t kAgainst = ZEP3_REASON_DEFAULTS | ZEP3_REASON_TOO_LITTLE | ZEP3_REASON_CHECKS;
  return (GetZEP3Reason(i)->lBit & kAgainst) != 0;
}
EXPORT int web_has_reason(const WebScan* scan, int i) {
  return (scan->evidence.lReasons & GetZEP3Reason(i)->lBit) != 0;
}
EXPORT void web_set_reason(WebScan* scan, int i) { scan->evidence.lReasons |= GetZEP3Reason(i)->lBit; }

EXPORT const char* web_item_name(int i) { return Item(i) != nullptr ? Item(i)->pName : nullptr; }
EXPORT const char* web_item_label(int i) { return Item(i)->pLabel; }
EXPORT const char* web_item_unit(int i) { return Item(i)->pUnit; }
EXPORT const char* web_item_text(int i) { return Item(i)->pText; }
EXPORT int web_item_decimals(int i) { return static_cast<int>(Item(i)->lDecimals); }
EXPORT int web_evidence(const WebScan* scan, int i, double* values) {
  return static_cast<int>(GetZEP3Evidence(&scan->evidence, Item(i)->pName, values));
}

// Pixels of the scan; paper: of a print's sheet with its border.
EXPORT double web_window(const WebScan* scan, int paper, int corner, int axis) {
  return (paper ? scan->evidence.dPaper : scan->evidence.dWindow)[corner][axis];
}

// Three gains and what lies there, of each cell, 16 bytes.
EXPORT const ZEP3_CELL* web_cells(const WebScan* scan) { return scan->cells.data(); }
EXPORT uint8_t* web_cells_room(WebScan* scan, uint32_t cells) {
  scan->cells.assign(cells, {});
  return reinterpret_cast<uint8_t*>(scan->cells.data());
}

// ---- result ----

// Of the tables alone; a page's paper has another.
EXPORT double web_chroma(const WebScan* scan) { return scan->HasPaper() ? 1 : GetZEP3Chroma(&scan->para); }

// 3 * entries values for the scan's own values, without a page's paper.
EXPORT int web_tables(const WebScan* scan, double entries, uint16_t* table) {
  ZEP3_PARA copy = scan->para;
  return MakeZEP3ScanLUT(&copy, scan->Matrix(), scan->gamma, static_cast<int64_t>(entries), table);
}

// A piece of the scan, in place. x, y: where its first pixel lies; for the means, `small` is 1 and x, y are theirs.
EXPORT int web_apply(WebScan* scan, uint8_t* pixels, double width, double lines, double x, double y, int format,
                     int bits, double chroma, int small) {
  ZEP3_BmpInfo piece;
  SetZEP3Image(&piece, pixels, static_cast<int64_t>(width), static_cast<int64_t>(lines), 0, format, bits);
  if (!MakeTables(*scan, bits == ZEP3_BITS_16 ? 65536 : 256)) return 0;
  if (!scan->HasPaper()) return ApplyZEP3ScanLUT(&piece, scan->tables.values.data(), chroma);
  ZEP3_SURFACE surface = SurfaceOf(*scan);
  if (small) { // a cell's side is a whole number of the pre-scan's pixels
    surface.lWidth = scan->image.lWidth;
    surface.lHeight = scan->image.lHeight;
    surface.lLeft /= scan->shrink;
    surface.lTop /= scan->shrink;
    surface.lSide = surface.lSide / scan->shrink > 1 ? surface.lSide / scan->shrink : 1;
  }
  if (!ApplyZEP3Page(&piece, static_cast<int64_t>(x), static_cast<int64_t>(y), &surface, scan->tables.values.data())) {
    return 0;
  }
  if (chroma == 1) return 1;
  const int64_t entries = bits == ZEP3_BITS_16 ? 65536 : 256;
  std::vector<uint16_t> same(static_cast<size_t>(3 * entries)); // tables that change nothing
  for (size_t i = 0; i < same.size(); i++) {
    same[i] = static_cast<uint16_t>(static_cast<int64_t>(i) % entries * (65535 / (entries - 1)));
  }
  return ApplyZEP3ScanLUT(&piece, same.data(), chroma);
}
