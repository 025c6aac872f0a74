// The analysis call, its conversion to the display gamma, and the version.
#include "engine/zep3.h"

#include <memory>
#include <optional>

#include "engine/adaptive/adaptive.h"
#include "engine/adaptive/view.h"
#include "engine/calc/czep.h"
#include "engine/common/float_environment.h"
#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/hist/chist.h"
#include "engine/page/propose.h"
#include "engine/roll/observation.h"
#include "engine/verdict/verdict.h"

namespace {

constexpr int64_t kVersionMajor = 3;
constexpr int64_t kVersionMinor = 9;

enum class Outcome { kFailed, kDefaults, kCalculated };

bool RunCalculator(CZEP& zep, const ZEP3_PARA& para, double* colorMatrix) {
  const bool faded = para.wSubMode == ZEP3_SUB_RESTORATION;
  switch (DocType(para)) {
    case ZEP3_DOC_NEGATIVE:
      return faded ? zep.CalcRestorationNega() : zep.CalcParamNega(colorMatrix);
    case ZEP3_DOC_POSITIVE:
      return faded ? zep.CalcRestorationFBP() : zep.CalcParamPosi();
    case ZEP3_DOC_NEGATIVE_BW:
      return faded ? zep.CalcRestorationNegaBW() : zep.CalcParamNegaBW();
    case ZEP3_DOC_REFLECTIVE:
      break;
    default: // not reached: unknown types have no usable levels and took the defaults
      return false;
  }
  switch (para.wSubMode) {
    case ZEP3_SUB_PHOTO:
      return zep.CalcParamFBPhoto();
    case ZEP3_SUB_DOCUMENT:
      return zep.CalcParamFBDoc();
    case ZEP3_SUB_RESTORATION:
      return zep.CalcRestorationFBP();
    case ZEP3_SUB_BACKGROUND_REMOVAL:
      return zep.CalcBackgroundRemove();
    case ZEP3_SUB_GROUND_COLOR_REMOVAL:
      return zep.CalcGroundColorRemove();
    default: // the points stay as they are, and the call goes on
      return true;
  }
}

// Statistics, then one calculator or the fixed defaults; points are left at gamma 1.8.
Outcome Analyse(CHIST& hist, CZEP& zep, ZEP3_BmpInfo* bmp, ZEP3_PARA& para, double* colorMatrix) {
  if (!hist.MakeHistogram(bmp, hist.m_nAreaMargin, &para)) return Outcome::kFailed;
  if (!hist.IsOutRange(para)) {
    // SetDefault reads document type and sub-mode alone, so that one call would do; the sequence is prescribed.
    zep.SetDefault(&para);
    if (IsPlain(para)) zep.SetDefault(&para);
    zep.SetDefault(&para);
    return Outcome::kDefaults;
  }
  hist.CalcHistAverage(para);
  if (!hist.CalcHistMinValue(para)) {
    zep.SetDefault(&para);
    return Outcome::kDefaults;
  }
  hist.CalcHistMaxValue(para);
  if (DocType(para) == ZEP3_DOC_NEGATIVE) {
    if (!hist.PreviewImageColorCorrection(bmp)) return Outcome::kFailed;
    hist.CalcNegaMinValue();
  }
  hist.CalcAnlRangeValue();
  hist.CalcAnlSlopeValue();
  return RunCalculator(zep, para, colorMatrix) ? Outcome::kCalculated : Outcome::kFailed;
}

void ConvertToDisplayGamma(ZEP3_PARA& para) {
  const double exponent = DisplayExponent(para);
  const bool inverted = IsNegative(para);
  for (ZEP3_POINTS& p : para.ic.ch) {
    p.lHlIn = EncodePoint(p.lHlIn, exponent, inverted);
    p.lSdIn = EncodePoint(p.lSdIn, exponent, inverted);
    p.lHlOut = EncodePoint(p.lHlOut, exponent, false);
    p.lSdOut = EncodePoint(p.lSdOut, exponent, false);
  }
}

// The standard analysis; where `evidence` is wanted, the adaptive one on top of it, with what is `shared` or by itself
// (null).
int Propose(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, double* pdColorMatrix, ZEP3_EVIDENCE* evidence,
            const ZEP3_SHARED* shared = nullptr, const page::Request& page = {}) {
  if (para == nullptr || para->pOutMasterTone == nullptr || para->pOutRGBTone == nullptr) return 0;
  const FloatEnvironment environment;
  para->lLevelFlag = 0;
  SetIdentity(*para->pOutMasterTone);
  for (int c = 0; c < 3; c++) SetIdentity(para->pOutRGBTone[c]);

  const auto hist = std::make_unique<CHIST>();
  const auto zep = std::make_unique<CZEP>();
  zep->SetParam(hist.get(), para);
  std::optional<BlockGridReader> reader;
  if (evidence != nullptr && bmp != nullptr) hist->TakeAlong(&reader.emplace(*bmp, MarginOfView(*para)));
  const Outcome outcome = Analyse(*hist, *zep, bmp, *para, pdColorMatrix);
  if (outcome == Outcome::kFailed) return 0;
  const bool usable = outcome == Outcome::kCalculated;
  const auto finish = [&] {
    ConvertToDisplayGamma(*para);
    // On the converted points: it judges what is displayed.
    if (usable) zep->CalcAgainstLight(para->lAgainstLight);
  };
  if (evidence == nullptr) {
    finish();
    return 1;
  }
  const Proposal calculated(*para);
  finish();
  const Proposal standard(*para);
  calculated.WriteTo(*para);
  const View view = LookAt(*bmp, *para, *reader);
  if (IsPage(*para) && !IsPlain(*para)) {
    Measured measured;
    if (const auto checks = page::Propose(*bmp, page, *para, *evidence, measured)) {
      SetMeasured(*evidence, measured);
      finish();
      Judge(view, *para, pdColorMatrix, *evidence, checks->failed);
      evidence->lReasons |= checks->mended;
      return 1;
    }
    // A picture fills the page, or next to nothing is there: it is treated as a photo.
    const int64_t reasons = evidence->lReasons;
    const uint16_t kind = para->wSubMode;
    para->wSubMode = ZEP3_SUB_PHOTO;
    const int done = Propose(bmp, para, pdColorMatrix, evidence);
    para->wSubMode = kind;
    evidence->lReasons |= reasons;
    return done;
  }
  ProposeAdaptive(view, pdColorMatrix, *zep, usable, shared, *para, *evidence);
  finish();
  Settle(view, standard, usable, pdColorMatrix, *para, *evidence);
  return 1;
}

} // namespace

int ZEP3(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, double* pdColorMatrix) try {
  return Propose(bmp, para, pdColorMatrix, nullptr);
} catch (...) { // out of memory: an exception must not reach a C caller
  return 0;
}

int ZEP3Adaptive(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, double* pdColorMatrix, ZEP3_EVIDENCE* evidence) try {
  ZEP3_EVIDENCE unwanted;
  if (evidence == nullptr) evidence = &unwanted;
  *evidence = {};
  return Propose(bmp, para, pdColorMatrix, evidence);
} catch (...) {
  return 0;
}

int ZEP3Shared(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, double* pdColorMatrix, const ZEP3_SHARED* shared,
               ZEP3_EVIDENCE* evidence) try {
  if (para == nullptr || shared == nullptr || !IsPlausible(*shared) || !IsOfKind(*para, *shared)) return 0;
  ZEP3_EVIDENCE unwanted;
  if (evidence == nullptr) evidence = &unwanted;
  *evidence = {};
  return Propose(bmp, para, pdColorMatrix, evidence, shared);
} catch (...) {
  return 0;
}

int ZEP3Page(ZEP3_BmpInfo* bmp, ZEP3_PARA* para, const ZEP3_DETAIL* detail, ZEP3_SURFACE* surface,
             ZEP3_EVIDENCE* evidence) try {
  if (bmp == nullptr || para == nullptr || surface == nullptr || !IsPage(*para)) return 0;
  if (surface->lScanGamma <= 0 || surface->lSide < 1 || surface->lSide > INT32_MAX || surface->lWidth < 1 ||
      surface->lHeight < 1 || surface->pCells == nullptr ||
      surface->lRoom < GetZEP3SurfaceRoom(bmp->lWidth, bmp->lHeight)) {
    return 0;
  }
  ZEP3_EVIDENCE unwanted;
  if (evidence == nullptr) evidence = &unwanted;
  *evidence = {};
  surface->lFound = ZEP3_SURFACE_NONE;
  return Propose(bmp, para, nullptr, evidence, nullptr, {detail, surface});
} catch (...) {
  return 0;
}

int JudgeZEP3(const ZEP3_BmpInfo* bmp, const ZEP3_PARA* para, const double* pdColorMatrix,
              ZEP3_EVIDENCE* evidence) try {
  if (bmp == nullptr || para == nullptr || evidence == nullptr) return 0;
  const FloatEnvironment environment;
  ZEP3_BmpInfo image = *bmp;
  ZEP3_PARA copy = *para;
  const auto hist = std::make_unique<CHIST>();
  if (!hist->MakeHistogram(&image, hist->m_nAreaMargin, &copy)) return 0;
  if (evidence->lAnalysis == ZEP3_ANALYSIS_STANDARD && !hist->IsOutRange(copy)) {
    evidence->lReasons |= ZEP3_REASON_DEFAULTS;
  }
  const ZEP3_EVIDENCE* known = evidence->lAnalysis == ZEP3_ANALYSIS_STANDARD ? nullptr : evidence;
  Judge(LookAt(image, copy, known), copy, pdColorMatrix, *evidence);
  return 1;
} catch (...) {
  return 0;
}

int GetZEP3Version(int64_t* plMajor, int64_t* plMinor) {
  if (plMajor == nullptr || plMinor == nullptr) return 0;
  *plMajor = kVersionMajor;
  *plMinor = kVersionMinor;
  return 1;
}

int64_t ValueOfScreenGammaConv(int64_t lValue, ZEP3_PARA* para) {
  if (para == nullptr) return 0;
  const FloatEnvironment environment;
  return EncodePoint(lValue, DisplayExponent(*para), IsNegative(*para));
}
