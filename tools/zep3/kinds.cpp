#include "kinds.h"

#include <algorithm>

#include "engine/zep3.h"

namespace {

template <typename Predicate>
const Kind* Find(Predicate predicate) {
  const auto found = std::find_if(Kinds().begin(), Kinds().end(), predicate);
  return found == Kinds().end() ? nullptr : &*found;
}

} // namespace

const std::vector<Kind>& Kinds() {
  static const std::vector<Kind> kinds = {
      {"photo", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, "print on a flatbed"},
      {"document", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_DOCUMENT, "text and line art"},
      {"background", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_BACKGROUND_REMOVAL,
       "document, the paper to white, evenly in all channels"},
      {"ground-color", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_GROUND_COLOR_REMOVAL, "document, coloured paper to neutral white"},
      {"faded-print", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, "faded print"},
      {"slide", ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, "positive film"},
      {"faded-slide", ZEP3_DOC_POSITIVE, ZEP3_SUB_RESTORATION, "faded positive film"},
      {"negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_PHOTO, "colour negative"},
      {"faded-negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_RESTORATION, "faded colour negative"},
      {"bw-negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_PHOTO, "monochrome negative"},
      {"faded-bw-negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_RESTORATION, "faded or stained monochrome negative"},
  };
  return kinds;
}

const Kind* FindKind(std::string_view name) {
  return Find([&](const Kind& kind) { return kind.name == name; });
}

const Kind* FindKind(uint16_t docType, uint16_t subMode) {
  return Find([&](const Kind& kind) { return kind.docType == docType && kind.subMode == subMode; });
}
