#include "evidence.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace {

// Of an evidence; a sum of these.
enum Family : unsigned { kPositive = 1, kColourNegative = 2, kMonochromeNegative = 4 };
constexpr unsigned kNegative = kColourNegative | kMonochromeNegative;

std::span<double> All(double& value) { return {&value, 1}; }
template <size_t N>
std::span<double> All(double (&values)[N]) {
  return values;
}

// In the order of the record.
const std::vector<Evidence>& Evidences() {
  using E = ZEP3_EVIDENCE;
  static const std::vector<Evidence> evidences = {
      {"trimmed", "Left out", "share", kPositive | kNegative, 2, [](E& e) { return All(e.dTrimmed); },
       "of the area: mount, holder or border around the picture"},

      {"trust", "Trust", "0..1", kPositive, 2, [](E& e) { return All(e.positive.dTrust); },
       "how far the proposal was followed; 0: left as scanned"},
      {"gain", "Gain", "nats", kPositive, 1, [](E& e) { return All(e.positive.dGain); },
       "evidence for a correction against none; 0: even, 3: twenty to one"},
      {"dyeLeft", "Dye left (R / G / B)", "share", kPositive, 2, [](E& e) { return All(e.positive.dDyeLeft); },
       "1: nothing has faded; below 0.55: strong fading"},
      {"offset", "Clear original (R / G / B)", "density", kPositive, 2, [](E& e) { return All(e.positive.dOffset); },
       "its base, stain, exposure and cast; 0.3 is one stop"},
      {"jointWhite", "Whites (R / G / B)", "density", kPositive, 2, [](E& e) { return All(e.positive.dJointWhite); },
       "after the correction; 0: paper white"},
      {"jointBlack", "Blacks (R / G / B)", "density", kPositive, 2, [](E& e) { return All(e.positive.dJointBlack); },
       "after the correction; more is darker"},
      {"whiteTint", "Tint of the whites", "density", kPositive, 2, [](E& e) { return All(e.positive.dWhiteTint); },
       "largest less smallest channel; 0: neutral"},
      {"blackTint", "Tint of the blacks", "density", kPositive, 2, [](E& e) { return All(e.positive.dBlackTint); },
       "largest less smallest channel; 0: neutral"},
      {"blackPile", "Picture at its blacks", "share", kPositive, 3, [](E& e) { return All(e.positive.dBlackPile); },
       "above 0.03: the blacks are the darkest that the material gives"},
      {"whiteCost", "Misfit of the whites", "nats", kPositive, 1, [](E& e) { return All(e.positive.dWhiteCost); },
       "less is better"},
      {"blackCost", "Misfit of the blacks", "nats", kPositive, 1, [](E& e) { return All(e.positive.dBlackCost); },
       "less is better"},
      {"historyCost", "Unusual history", "nats", kPositive, 1, [](E& e) { return All(e.positive.dHistoryCost); },
       "how unusual such a fading, exposure or cast is; less is more usual"},

      {"holder", "Holder", "share", kNegative, 2, [](E& e) { return All(e.negative.dHolder); },
       "of the four sides that show a holder"},
      {"border", "Clear border", "share", kNegative, 2, [](E& e) { return All(e.negative.dBorder); },
       "of the four sides that show clear film or open light"},
      {"baseMeasured", "Base measured", "0 or 1", kNegative, 0, [](E& e) { return All(e.negative.dBaseMeasured); },
       "1: at a clear border; 0: taken from the picture"},
      {"base", "Film base (R / G / B)", "linear level", kNegative, 1, [](E& e) { return All(e.negative.dBase); },
       "of the clear film as scanned, at gamma 1.8; 255: the scanner's white"},
      {"highlight", "Lightest parts (R / B)", "log exposure", kNegative, 2,
       [](E& e) { return All(e.negative.dHighlight); }, "of the scene, less green; 0: neutral, 0.3 is one stop"},
      {"planck", "Warm light", "log exposure", kColourNegative, 2, [](E& e) { return All(e.negative.dPlanck); },
       "0.38: tungsten lamps; below 0: shade"},
      {"neutral", "White believed", "0..1", kColourNegative, 2, [](E& e) { return All(e.negative.dNeutral); },
       "how far the lightest parts are taken for white"},
      {"slope", "Film contrast (R / G / B)", "density per log exposure", kNegative, 2,
       [](E& e) { return All(e.negative.dSlope); }, "that the film was found to have"},
      {"votes", "Agreement", "share", kColourNegative, 2, [](E& e) { return All(e.negative.dVotes); },
       "of the picture that agrees with the grays found"},
      {"stain", "Stain (R / G / B)", "density", kMonochromeNegative, 2, [](E& e) { return All(e.negative.dStain); },
       "relative to the common gray"},
      {"range", "Range of the picture", "log exposure", kNegative, 2, [](E& e) { return All(e.negative.dRange); },
       "0.3 is one stop"},
      {"power", "Print contrast", "ratio", kNegative, 2, [](E& e) { return All(e.negative.dPower); },
       "to that of the scene; 1: the same"},
      {"mean", "Mean of the print", "log exposure", kNegative, 2, [](E& e) { return All(e.negative.dMean); },
       "less that of its whites; 0.3 is one stop"},
      {"lift", "Brought back", "log exposure", kNegative, 2, [](E& e) { return All(e.negative.dLift); },
       "by which an unusually dark or light picture was moved; 0.3 is one stop"},
  };
  return evidences;
}

// 0: what the standard analysis decides.
unsigned FamilyOf(const Finding& finding, uint16_t docType) {
  switch (finding.evidence.lAnalysis) {
    case ZEP3_ANALYSIS_POSITIVE:
      return kPositive;
    case ZEP3_ANALYSIS_NEGATIVE:
      return docType == ZEP3_DOC_NEGATIVE_BW ? kMonochromeNegative : kColourNegative;
    default:
      return 0;
  }
}

std::string Decimal(double value, int places) {
  if (!std::isfinite(value)) return "–";
  std::array<char, 400> text; // of the largest number
  std::snprintf(text.data(), text.size(), "%.*f", places, value);
  // What rounds to nothing has no sign.
  const bool zero = std::string_view(text.data()).find_first_not_of("-0.") == std::string_view::npos;
  return text.data() + (zero && text[0] == '-' ? 1 : 0);
}

} // namespace

const std::vector<Reason>& Reasons() {
  static const std::vector<Reason> reasons = {
      {ZEP3_REASON_NOT_ADAPTIVE, "not-adaptive", "there is no other for this kind of original or option",
       "Documents, and originals with --option plain, have the standard analysis only."},
      {ZEP3_REASON_DEFAULTS, "defaults", "no usable levels (blank or clipped), default points",
       "The scan has no usable levels, it is blank or clipped: it got the default points of its kind."},
      {ZEP3_REASON_TOO_LITTLE, "too-little", "too little picture or contrast to decide from",
       "The picture is too small, or has too little contrast, to decide from."},
      {ZEP3_REASON_BORDER_REMOVED, "border-removed", "border left out",
       "A mount, a holder, clear film or open light around the picture was left out of the analysis."},
      {ZEP3_REASON_SOUND, "sound-original", "looks sound, left nearly as it is",
       "The original looks sound and was left nearly as it is."},
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
  };
  return reasons;
}

std::vector<Reason> ReasonsOf(const Finding& finding) {
  std::vector<Reason> reasons;
  std::copy_if(Reasons().begin(), Reasons().end(), std::back_inserter(reasons),
               [&](const Reason& reason) { return (finding.evidence.lReasons & reason.bit) != 0; });
  return reasons;
}

std::vector<Evidence> EvidencesOf(const Finding& finding, uint16_t docType) {
  const unsigned family = FamilyOf(finding, docType);
  std::vector<Evidence> evidences;
  std::copy_if(Evidences().begin(), Evidences().end(), std::back_inserter(evidences),
               [&](const Evidence& evidence) { return (evidence.families & family) != 0; });
  return evidences;
}

std::string ValueText(const Evidence& evidence, const Finding& finding) {
  ZEP3_EVIDENCE record = finding.evidence;
  std::string text;
  for (const double value : evidence.values(record))
    text += (text.empty() ? "" : " / ") + Decimal(value, evidence.places);
  return text;
}

std::string_view MethodName(bool adaptive) { return adaptive ? "adaptive" : "standard"; }

int AdaptiveAnalysisOf(uint16_t docType) {
  const bool negative = docType == ZEP3_DOC_NEGATIVE || docType == ZEP3_DOC_NEGATIVE_BW;
  return negative ? ZEP3_ANALYSIS_NEGATIVE : ZEP3_ANALYSIS_POSITIVE;
}

std::string Verdict(const Finding& finding) {
  const bool adaptive = finding.evidence.lAnalysis != ZEP3_ANALYSIS_STANDARD;
  const std::string text = (finding.repeated ? "repeated " : "") + std::string(MethodName(adaptive)) + " analysis";
  return adaptive ? text + ", confidence " + Decimal(finding.evidence.dConfidence, 2) : text;
}

std::string Summary(const Finding& finding) {
  std::string text;
  for (const Reason& reason : ReasonsOf(finding)) text += (text.empty() ? ": " : "; ") + std::string(reason.text);
  return Verdict(finding) + text;
}
