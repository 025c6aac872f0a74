// The one list of what the analyses measure: names, units, meaning, and where each number lies.
#include "engine/adaptive/evidence.h"

#include <cstring>
#include <iterator>

namespace {

constexpr int64_t kPositive = 1 << ZEP3_ANALYSIS_POSITIVE;
constexpr int64_t kColour = 1 << ZEP3_ANALYSIS_NEGATIVE;
constexpr int64_t kMonochrome = 1 << ZEP3_ANALYSIS_NEGATIVE_BW;
constexpr int64_t kNegatives = kColour | kMonochrome;
constexpr int64_t kPage = 1 << ZEP3_ANALYSIS_PAGE;
constexpr int64_t kAll = kPositive | kNegatives;

// Name, label, unit, what it tells, decimals, analyses.
#define ZEP3_ITEM(field, name, label, unit, text, decimals, analyses)                        \
  {                                                                                          \
    {name, label, unit, text, sizeof(Measured::field) / sizeof(double), decimals, analyses}, \
        offsetof(Measured, field) / sizeof(double)                                           \
  }

constexpr MeasuredItem kItems[] = {
    ZEP3_ITEM(trimmed, "trimmed", "Left out", "share", "of the area: mount, holder or border around the picture", 2,
              kAll),
    ZEP3_ITEM(positive.trust, "trust", "Trust", "0..1", "how far the proposal was followed; 0: left as scanned", 2,
              kPositive),
    ZEP3_ITEM(positive.gain, "gain", "Gain", "nats",
              "evidence for a correction against none; 0: even, 3: twenty to one", 1, kPositive),
    ZEP3_ITEM(positive.dyeLeft, "dyeLeft", "Dye left (R / G / B)", "share",
              "1: nothing has faded; below 0.55: strong fading", 2, kPositive),
    ZEP3_ITEM(positive.offset, "offset", "Clear original (R / G / B)", "density",
              "its base, stain, exposure and cast; 0.3 is one stop", 2, kPositive),
    ZEP3_ITEM(positive.jointWhite, "jointWhite", "Whites (R / G / B)", "density",
              "after the correction; 0: paper white", 2, kPositive),
    ZEP3_ITEM(positive.jointBlack, "jointBlack", "Blacks (R / G / B)", "density",
              "after the correction; more is darker", 2, kPositive),
    ZEP3_ITEM(positive.whiteTint, "whiteTint", "Tint of the whites", "density",
              "largest less smallest channel; 0: neutral", 2, kPositive),
    ZEP3_ITEM(positive.blackTint, "blackTint", "Tint of the blacks", "density",
              "largest less smallest channel; 0: neutral", 2, kPositive),
    ZEP3_ITEM(positive.blackPile, "blackPile", "Picture at its blacks", "share",
              "above 0.03: the blacks are the darkest that the material gives", 3, kPositive),
    ZEP3_ITEM(positive.whiteCost, "whiteCost", "Misfit of the whites", "nats", "less is better", 1, kPositive),
    ZEP3_ITEM(positive.blackCost, "blackCost", "Misfit of the blacks", "nats", "less is better", 1, kPositive),
    ZEP3_ITEM(positive.historyCost, "historyCost", "Unusual history", "nats",
              "how unusual such a fading, exposure or cast is; less is more usual", 1, kPositive),
    ZEP3_ITEM(negative.holder, "holder", "Holder", "share", "of the four sides with a holder right beside the picture",
              2, kNegatives),
    ZEP3_ITEM(negative.border, "border", "Clear border", "share",
              "of the four sides with clear film right beside the picture", 2, kNegatives),
    ZEP3_ITEM(negative.baseMeasured, "baseMeasured", "Base measured", "0 or 1",
              "1: at a clear border; 0: taken from the picture", 0, kNegatives),
    ZEP3_ITEM(negative.base, "base", "Film base (R / G / B)", "linear level",
              "of the clear film as scanned, at gamma 1.8; 255: the scanner's white", 1, kNegatives),
    ZEP3_ITEM(negative.highlight, "highlight", "Lightest parts (R / B)", "log exposure",
              "of the scene, less green; 0: neutral, 0.3 is one stop", 2, kNegatives),
    ZEP3_ITEM(negative.planck, "planck", "Warm light", "log exposure", "0.38: tungsten lamps; below 0: shade", 2,
              kColour),
    ZEP3_ITEM(negative.neutral, "neutral", "White believed", "0..1", "how far the lightest parts are taken for white",
              2, kColour),
    ZEP3_ITEM(negative.slope, "slope", "Film contrast (R / G / B)", "density per log exposure",
              "that the film was found to have", 2, kNegatives),
    ZEP3_ITEM(negative.votes, "votes", "Agreement", "share", "of the picture that agrees with the grays found", 2,
              kColour),
    ZEP3_ITEM(negative.stain, "stain", "Stain (R / G / B)", "density", "relative to the common gray", 2, kMonochrome),
    ZEP3_ITEM(negative.range, "range", "Range of the picture", "log exposure", "0.3 is one stop", 2, kNegatives),
    ZEP3_ITEM(negative.power, "power", "Print contrast", "ratio", "to that of the scene; 1: the same", 2, kNegatives),
    ZEP3_ITEM(negative.mean, "mean", "Mean of the print", "log exposure", "less that of its whites; 0.3 is one stop", 2,
              kNegatives),
    ZEP3_ITEM(negative.lift, "lift", "Brought back", "log exposure",
              "by which an unusually dark or light picture was moved; 0.3 is one stop", 2, kNegatives),
    ZEP3_ITEM(page.paper, "paper", "Paper", "share", "of the page where paper is seen", 2, kPage),
    ZEP3_ITEM(page.objects, "objects", "Pictures and boxes", "share", "of the page that they take", 2, kPage),
    ZEP3_ITEM(page.sheet, "sheet", "Paper's colour (R / G / B)", "display level", "as scanned, at gamma 2.2", 1, kPage),
    ZEP3_ITEM(page.uneven, "uneven", "Uneven light", "nats",
              "logarithm of the lightest paper's level over the darkest's; 0.1: a tenth", 2, kPage),
    ZEP3_ITEM(page.noise, "paperNoise", "Grain of the paper", "share", "of its level, standard deviation", 3, kPage),
    ZEP3_ITEM(page.deep, "showThrough", "Shows through", "share", "of the paper's level that it is darker, stains too",
              3, kPage),
    ZEP3_ITEM(page.strokes, "strokes", "Strokes", "share", "of the paper's level that they have; above 0.7: weak ink",
              2, kPage),
    ZEP3_ITEM(page.darkest, "darkest", "Darkest", "share", "of the paper's level that the blackest has", 2, kPage),
};

#undef ZEP3_ITEM

} // namespace

std::span<const MeasuredItem> MeasuredItems() { return kItems; }

const MeasuredItem* FindMeasuredItem(const char* name) {
  for (const MeasuredItem& item : kItems) {
    if (std::strcmp(item.description.pName, name) == 0) return &item;
  }
  return nullptr;
}

void SetMeasured(ZEP3_EVIDENCE& evidence, const Measured& measured) {
  std::memcpy(evidence.dMeasured, &measured, sizeof measured);
}
