#include "engine/verdict/verdict.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "engine/adaptive/confidence.h"
#include "engine/adaptive/positive/curve_points.h"
#include "engine/common/convert.h"
#include "engine/common/record.h"
#include "engine/common/scale.h"
#include "engine/verdict/kind_odds.h"
#include "engine/verdict/tuning.h"
#include "engine/window/perforations.h"

using namespace verdict;

namespace {

// The correction as an analysis proposes it: what the user adds is meant.
ZEP3_PARA WithoutUser(const ZEP3_PARA& para) {
  ZEP3_PARA own = para;
  own.ic.lBrightness = own.ic.lContrast = 0;
  own.ic.lColorBalanceR = own.ic.lColorBalanceG = own.ic.lColorBalanceB = 0;
  own.ic.pMasterTone = own.pOutMasterTone;
  own.ic.pRGBTone = own.pOutRGBTone;
  return own;
}

// Whether the scan can be of the kind at all; nothing is known of pages.
int64_t DeniedKind(const View& view, const ZEP3_PARA& para) {
  if (!IsPicture(para)) return 0;
  const double odds = NegativeLogOdds(view);
  if (IsNegative(para)) return odds < kDeniedNegative ? ZEP3_REASON_LOOKS_POSITIVE : 0;
  if (odds > kDeniedPositive) return ZEP3_REASON_LOOKS_NEGATIVE;
  // Slides may be scanned before they are mounted.
  const Window& window = view.picture.window;
  const bool film = DocType(para) == ZEP3_DOC_REFLECTIVE && window.found && HasPerforations(view.grid, window.corners);
  return film ? ZEP3_REASON_LOOKS_NEGATIVE : 0;
}

// Whether the analysis has the scan as light that an sRGB display shows.
bool IsShownBySrgb(const ZEP3_EVIDENCE& evidence) { return evidence.lAnalysis == ZEP3_ANALYSIS_POSITIVE; }

// `failing`: checks that the result fails as it is.
void SetVerdict(int64_t failing, ZEP3_EVIDENCE& evidence) {
  if (evidence.lAnalysis != ZEP3_ANALYSIS_STANDARD && evidence.dConfidence < kUnsure) failing |= ZEP3_REASON_UNSURE;
  evidence.lReasons |= failing;
  const bool look = failing != 0 || (evidence.lReasons & ZEP3_REASON_TOO_LITTLE) != 0;
  evidence.lVerdict = look ? ZEP3_VERDICT_LOOK : ZEP3_VERDICT_GOOD;
}

} // namespace

int64_t FailedChecks(const ResultMeasures& measures, const ZEP3_PARA& para) {
  const ResultLimits& limits = IsPicture(para) ? kPictureLimits : kPageLimits;
  const bool negative = IsNegative(para);
  int64_t failed = 0;
  const auto check = [&](bool holds, int64_t reason) { failed |= holds ? 0 : reason; };
  check(measures.clipped <= limits.clipped, ZEP3_REASON_CLIPPING);
  check(measures.marksLost <= limits.marksLost, ZEP3_REASON_MARKS_LOST);
  check(measures.lightest >= limits.lightest || (!negative && measures.lightest >= measures.lightestBefore - kAsBefore),
        ZEP3_REASON_NEARLY_BLACK);
  // A page on which hardly anything is written comes out white, as it should.
  const bool blank = !IsPicture(para) && measures.lightestBefore - measures.darkestBefore < kBlankPage;
  check(measures.darkest <= limits.darkest || blank ||
            (!negative && measures.darkest <= measures.darkestBefore + kAsBefore),
        ZEP3_REASON_NEARLY_WHITE);
  check(negative ? measures.cast <= limits.cast : measures.castGrown <= limits.castGrown, ZEP3_REASON_CAST_GREW);
  return failed;
}

void Judge(const View& view, const ZEP3_PARA& para, const double* matrix, ZEP3_EVIDENCE& evidence, int64_t failed) {
  evidence.lReasons &= ~int64_t{ZEP3_REASON_CHECKS};
  if ((evidence.lReasons & ZEP3_REASON_DEFAULTS) != 0) {
    evidence.lVerdict = ZEP3_VERDICT_FAILED;
    return;
  }
  const ResultCheck check(view, para, IsShownBySrgb(evidence));
  if (check.IsEmpty()) evidence.lReasons |= ZEP3_REASON_TOO_LITTLE;
  failed |= DeniedKind(view, para) | FailedChecks(check.Measure(para, matrix), para);
  SetVerdict(failed, evidence);
}

Proposal::Proposal(const ZEP3_PARA& para)
    : m_ic(para.ic), m_saturation(para.lSaturation), m_levelFlag(para.lLevelFlag), m_master(*para.pOutMasterTone) {
  std::copy_n(para.pOutRGBTone, 3, m_rgb);
}

void Proposal::WriteTo(ZEP3_PARA& para) const {
  std::copy_n(m_ic.ch, 3, para.ic.ch);
  para.ic.wHlCurveType = m_ic.wHlCurveType;
  para.ic.wSdCurveType = m_ic.wSdCurveType;
  para.lSaturation = m_saturation;
  para.lLevelFlag = m_levelFlag;
  *para.pOutMasterTone = m_master;
  std::copy_n(m_rgb, 3, para.pOutRGBTone);
}

Proposal Proposal::Toward(const Proposal& other, double share) const {
  Proposal between = *this;
  for (int c = 0; c < 3; c++) {
    between.m_ic.ch[c] = PointsBetween(m_ic.ch[c], other.m_ic.ch[c], share);
  }
  between.m_saturation = Between(m_saturation, other.m_saturation, share);
  return between;
}

Proposal Proposal::Unchanged(const ZEP3_PARA& para, bool bySrgb) {
  Proposal unchanged(para);
  const double exponent = DisplayExponent(para);
  const auto encode = [&](double level) -> int64_t { return EncodeLevel(level, exponent); };
  CurvePoints same = {kUnchangedLight, kUnchangedDark, kUnchangedLight, kUnchangedDark, 1.0};
  if (bySrgb) same = CurveThrough([](double out) { return 255.0 * std::pow(DisplayedLight(out), kInverseGamma); });
  const ZEP3_POINTS points = {encode(same.hlIn), encode(same.sdIn), encode(same.hlOut), encode(same.sdOut),
                              ToInt32(100.0 * same.gamma + 0.5)};
  std::fill_n(unchanged.m_ic.ch, 3, points);
  unchanged.m_ic.wHlCurveType = ZEP3_HL_NONE;
  unchanged.m_ic.wSdCurveType = ZEP3_SD_NONE;
  unchanged.m_saturation = 0;
  unchanged.m_levelFlag = 0;
  SetIdentity(unchanged.m_master);
  for (ZEP3_TONE& tone : unchanged.m_rgb) SetIdentity(tone);
  return unchanged;
}

void Settle(const View& view, const Proposal& standard, bool usable, const double* matrix, ZEP3_PARA& para,
            ZEP3_EVIDENCE& evidence) {
  // A blank frame of a roll is to be black or white.
  const bool blank = (evidence.lReasons & ZEP3_REASON_BLANK) != 0;
  if (blank || evidence.lAnalysis == ZEP3_ANALYSIS_STANDARD) return Judge(view, WithoutUser(para), matrix, evidence);
  const bool bySrgb = IsShownBySrgb(evidence);
  const ResultCheck check(view, para, bySrgb);
  const Proposal proposed(para);
  const int64_t denied = DeniedKind(view, para);
  const int64_t failed = FailedChecks(check.Measure(WithoutUser(para), matrix), para);
  if ((denied | failed) != 0) evidence.dConfidence = AfterFailedCheck(evidence.dConfidence);
  if (failed == 0) return SetVerdict(denied, evidence);

  std::vector<Proposal> weaker;
  if (usable) weaker.push_back(proposed.Toward(standard, 0.5));
  if (!IsNegative(para)) weaker.push_back(proposed.Toward(Proposal::Unchanged(para, bySrgb), 0.5));
  if (usable) weaker.push_back(standard);
  if (!IsNegative(para)) weaker.push_back(Proposal::Unchanged(para, bySrgb));
  for (const Proposal& proposal : weaker) {
    proposal.WriteTo(para);
    if (FailedChecks(check.Measure(WithoutUser(para), matrix), para) != 0) continue;
    evidence.lReasons |= failed | ZEP3_REASON_WEAKENED;
    return SetVerdict(denied, evidence);
  }
  proposed.WriteTo(para);
  SetVerdict(denied | failed, evidence);
}
