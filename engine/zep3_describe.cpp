// Starting records, and what there is: kinds of original, reasons, measurements.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "engine/adaptive/evidence.h"
#include "engine/common/record.h"
#include "engine/image/pixels.h"
#include "engine/zep3.h"

namespace {

constexpr ZEP3_KIND kKinds[] = {
    {"photo", "print on a flatbed", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, 1},
    {"document", "text and line art", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_DOCUMENT, 1},
    {"background", "document, the paper to white, evenly in all channels", ZEP3_DOC_REFLECTIVE,
     ZEP3_SUB_BACKGROUND_REMOVAL, 1},
    {"ground-color", "document, coloured paper to neutral white", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_GROUND_COLOR_REMOVAL,
     1},
    {"faded-print", "faded print", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, 1},
    {"slide", "positive film", ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, 1},
    {"faded-slide", "faded positive film", ZEP3_DOC_POSITIVE, ZEP3_SUB_RESTORATION, 1},
    {"negative", "colour negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_PHOTO, 1},
    {"faded-negative", "faded colour negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_RESTORATION, 1},
    {"bw-negative", "monochrome negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_PHOTO, 1},
    {"faded-bw-negative", "faded or stained monochrome negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_RESTORATION, 1},
};

constexpr ZEP3_REASON kReasons[] = {
    {ZEP3_REASON_NOT_ADAPTIVE, "not-adaptive", "there is no other for this kind of original or option",
     "Originals with the plain handling have the standard analysis only."},
    {ZEP3_REASON_DEFAULTS, "defaults", "no usable levels (blank or clipped), default points",
     "The scan has no usable levels, it is blank or clipped: it got the default points of its kind."},
    {ZEP3_REASON_TOO_LITTLE, "too-little", "too little picture or contrast to decide from",
     "The picture is too small, or has too little contrast, to decide from."},
    {ZEP3_REASON_BORDER_REMOVED, "border-removed", "border left out",
     "A mount, a holder, clear film or open light around the picture was left out of the analysis."},
    {ZEP3_REASON_INTACT, "intact-original", "looks intact, left nearly as it is",
     "The original looks intact and was left nearly as it is."},
    {ZEP3_REASON_UNCERTAIN, "uncertain", "uncertain, followed in part",
     "It is not certain that the original needs this correction, which was made in part only."},
    {ZEP3_REASON_NO_WHITE, "no-white", "no white in the scene",
     "The brightest thing in the picture is no white and was not made one."},
    {ZEP3_REASON_NO_BLACK, "no-black", "no black in the scene",
     "There is no black in the scene: the contrast was not stretched to make one."},
    {ZEP3_REASON_COLOURED_WHITE, "coloured-white", "the lightest parts are coloured",
     "The lightest parts are coloured; the rest of the picture decided the colour of its whites."},
    {ZEP3_REASON_COLOURED_BLACK, "coloured-black", "the darkest parts are coloured",
     "The darkest parts are coloured; the rest of the picture decided the colour of its blacks."},
    {ZEP3_REASON_ONE_COLOUR, "one-colour", "one colour dominates",
     "One colour dominates the picture: its balance rests on what is usual for such originals."},
    {ZEP3_REASON_STRONG_FADING, "strong-fading", "strong fading",
     "The original has faded strongly: of a dye less than 55 % is left."},
    {ZEP3_REASON_STAIN, "stain", "yellow stain or cast removed", "A yellow stain or cast was removed."},
    {ZEP3_REASON_MEASURED_BASE, "measured-base", "film base measured at its border",
     "The colour of the film's base was measured at its clear border."},
    {ZEP3_REASON_INCANDESCENT, "incandescent", "incandescent light removed",
     "The scene was lit by incandescent lamps, whose colour was removed."},
    {ZEP3_REASON_FLAT, "flat", "flat or thin negative",
     "The negative is flat or thin: there is little contrast in it."},
    {ZEP3_REASON_BRIGHTNESS, "brightness", "unusually dark or light, brought back in part",
     "The picture is unusually dark or light and was brought back in part."},
    {ZEP3_REASON_UNEVEN_FADING, "uneven-fading", "one dye faded more than the others",
     "One dye of the negative has faded more than the others."},
    {ZEP3_REASON_SHARED, "shared", "judged with the others of its roll or box",
     "What the frames of the roll, or the originals of the box, share was taken from all of them."},
    {ZEP3_REASON_ODD, "odd-one", "unlike the others of its roll or box, judged by itself",
     "It shows another film than the roll, or has faded otherwise than the box: it was judged by itself."},
    {ZEP3_REASON_BLANK, "blank", "a blank frame", "There is nothing on this frame of the roll."},
    {ZEP3_REASON_BASE, "base-removed", "looks intact, the base of paper or film taken off",
     "The original looks intact. The density that its paper or film has by itself was taken off, nothing more."},
    {ZEP3_REASON_CLIPPING, "clipping", "parts end at black or white",
     "The correction drives parts of the picture to black or white that the scan tells apart."},
    {ZEP3_REASON_MARKS_LOST, "marks-lost", "faint marks lost",
     "Faint marks that the scan shows can no longer be seen after the correction."},
    {ZEP3_REASON_NEARLY_BLACK, "nearly-black", "nearly black", "The correction makes the picture nearly black."},
    {ZEP3_REASON_NEARLY_WHITE, "nearly-white", "nearly white", "The correction makes the picture nearly white."},
    {ZEP3_REASON_CAST_GREW, "cast-grew", "a cast that the scan has not",
     "The correction gives the picture a cast that the scan has not."},
    {ZEP3_REASON_LOOKS_NEGATIVE, "looks-negative", "looks like a negative",
     "The scan looks like a negative, and was corrected as something else."},
    {ZEP3_REASON_LOOKS_POSITIVE, "looks-positive", "looks like a positive",
     "The scan looks like a positive, and was corrected as a negative."},
    {ZEP3_REASON_WEAKENED, "weakened", "correction weakened",
     "The correction failed a check against the scan and was weakened until it held."},
    {ZEP3_REASON_UNSURE, "unsure", "more likely off than not",
     "Of results that were as hard to decide as this one, more than half are off."},
    {ZEP3_REASON_NO_PAPER, "no-paper", "no paper found",
     "There is no paper to be sure of, as where a picture fills the page: nothing was evened."},
    {ZEP3_REASON_UNEVEN_LIGHT, "uneven-light", "uneven light",
     "The paper is darker in some places than in others: shade, a fold or stains."},
    {ZEP3_REASON_COLOURED_SHEET, "coloured-sheet", "coloured sheet", "The sheet is coloured."},
    {ZEP3_REASON_REVERSE, "reverse", "light marks on a dark ground",
     "The page has light marks on a dark ground: it was evened, and not made white."},
    {ZEP3_REASON_SHOW_THROUGH, "show-through", "the other side shows through",
     "What shows through from the other side of the sheet, or stains it, was taken back."},
    {ZEP3_REASON_WEAK_INK, "weak-ink", "weak ink", "The print is faint and was darkened."},
    {ZEP3_REASON_PICTURES_KEPT, "pictures-kept", "pictures kept",
     "Pictures or boxes on the page were kept: nothing in them was made white."},
};

// The entry of a table by number; null beyond it.
template <class Table>
auto At(const Table& table, int64_t index) -> decltype(&table[0]) {
  return 0 <= index && index < static_cast<int64_t>(std::size(table)) ? &table[static_cast<size_t>(index)] : nullptr;
}

// The measurement of a name, if the analysis that decided makes it.
const MeasuredItem* FindItem(const ZEP3_EVIDENCE& evidence, const char* name) {
  const MeasuredItem* item = FindMeasuredItem(name);
  if (item == nullptr || evidence.lAnalysis < 0 || evidence.lAnalysis > 62) return nullptr;
  return (item->description.lAnalyses >> evidence.lAnalysis & 1) != 0 ? item : nullptr;
}

} // namespace

int ResetZEP3(ZEP3_PARA* para, ZEP3_TONE* master, ZEP3_TONE* rgb) {
  if (para == nullptr || master == nullptr || rgb == nullptr) return 0;
  std::memset(master, 0, sizeof *master);
  SetIdentity(*master);
  for (int c = 0; c < 3; c++) rgb[c] = *master;

  std::memset(para, 0, sizeof *para);
  para->wDocType = ZEP3_DOC_REFLECTIVE;
  para->wSubMode = ZEP3_SUB_PHOTO;
  para->wDocOption = ZEP3_OPTION_NORMAL;
  para->lScreenGamma = ZEP3_GAMMA_SRGB;
  for (ZEP3_POINTS& p : para->ic.ch) p = {ZEP3_UNSET, ZEP3_UNSET, ZEP3_UNSET, ZEP3_UNSET, ZEP3_UNSET};
  para->ic.wHlCurveType = ZEP3_HL_AUTO;
  para->ic.wSdCurveType = ZEP3_SD_AUTO;
  para->lCorrectLevel = 4;
  para->ic.pMasterTone = para->pOutMasterTone = master;
  para->ic.pRGBTone = para->pOutRGBTone = rgb;
  return 1;
}

int SetZEP3Kind(ZEP3_PARA* para, const char* pName) {
  const ZEP3_KIND* kind = FindZEP3Kind(pName);
  if (para == nullptr || kind == nullptr) return 0;
  para->wDocType = kind->wDocType;
  para->wSubMode = kind->wSubMode;
  return 1;
}

int SetZEP3Image(ZEP3_BmpInfo* bmp, void* pixels, int64_t lWidth, int64_t lHeight, int64_t lBytesPerLine,
                 int64_t lPixelFormat, int64_t lBitCount) {
  if (bmp == nullptr) return 0;
  std::memset(bmp, 0, sizeof *bmp);
  bmp->pBits = static_cast<uint8_t*>(pixels);
  bmp->lWidth = lWidth;
  bmp->lHeight = lHeight;
  bmp->lBitCount = lBitCount;
  bmp->wPixelFormat = static_cast<uint16_t>(lPixelFormat);
  // Sides that no image has may wrap; they are refused later.
  const auto packed = static_cast<uint64_t>(lWidth) * static_cast<uint64_t>(BytesPerPixel(*bmp));
  bmp->lBytesPerLine = lBytesPerLine != 0 ? lBytesPerLine : static_cast<int64_t>(packed);
  bmp->area = {{0, 0}, {0, 0}, {lWidth, lHeight}, {lWidth, lHeight}};
  return 1;
}

const ZEP3_KIND* GetZEP3Kind(int64_t lIndex) { return At(kKinds, lIndex); }

const ZEP3_KIND* FindZEP3Kind(const char* pName) {
  if (pName == nullptr) return nullptr;
  const auto* found = std::find_if(std::begin(kKinds), std::end(kKinds),
                                   [pName](const ZEP3_KIND& kind) { return std::strcmp(kind.pName, pName) == 0; });
  return found == std::end(kKinds) ? nullptr : found;
}

const ZEP3_KIND* FindZEP3KindOf(const ZEP3_PARA* para) {
  if (para == nullptr) return nullptr;
  // Films know no sub-mode but restoration.
  const bool normalFilm = DocType(*para) != ZEP3_DOC_REFLECTIVE && para->wSubMode != ZEP3_SUB_RESTORATION;
  const uint16_t subMode = normalFilm ? uint16_t{ZEP3_SUB_PHOTO} : para->wSubMode;
  const auto* found = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const ZEP3_KIND& kind) {
    return kind.wDocType == para->wDocType && kind.wSubMode == subMode;
  });
  return found == std::end(kKinds) ? nullptr : found;
}

const ZEP3_REASON* GetZEP3Reason(int64_t lIndex) { return At(kReasons, lIndex); }

const ZEP3_EVIDENCE_ITEM* GetZEP3EvidenceItem(int64_t lIndex) {
  const MeasuredItem* item = At(MeasuredItems(), lIndex);
  return item == nullptr ? nullptr : &item->description;
}

int64_t GetZEP3Evidence(const ZEP3_EVIDENCE* evidence, const char* pName, double* values) {
  if (evidence == nullptr || pName == nullptr || values == nullptr) return 0;
  const MeasuredItem* item = FindItem(*evidence, pName);
  if (item == nullptr) return 0;
  std::copy_n(evidence->dMeasured + item->at, item->description.lCount, values);
  return item->description.lCount;
}

int64_t SetZEP3Evidence(ZEP3_EVIDENCE* evidence, const char* pName, const double* values) {
  if (evidence == nullptr || pName == nullptr || values == nullptr) return 0;
  const MeasuredItem* item = FindItem(*evidence, pName);
  if (item == nullptr) return 0;
  std::copy_n(values, item->description.lCount, evidence->dMeasured + item->at);
  return item->description.lCount;
}
