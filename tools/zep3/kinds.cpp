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
      {"photo", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_PHOTO, "print on a flatbed", true},
      {"document", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_DOCUMENT, "text and line art", false},
      {"background", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_BACKGROUND_REMOVAL,
       "document, the paper to white, evenly in all channels", false},
      {"ground-color", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_GROUND_COLOR_REMOVAL, "document, coloured paper to neutral white",
       false},
      {"faded-print", ZEP3_DOC_REFLECTIVE, ZEP3_SUB_RESTORATION, "faded print", true},
      {"slide", ZEP3_DOC_POSITIVE, ZEP3_SUB_PHOTO, "positive film", true},
      {"faded-slide", ZEP3_DOC_POSITIVE, ZEP3_SUB_RESTORATION, "faded positive film", true},
      {"negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_PHOTO, "colour negative", true},
      {"faded-negative", ZEP3_DOC_NEGATIVE, ZEP3_SUB_RESTORATION, "faded colour negative", true},
      {"bw-negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_PHOTO, "monochrome negative", true},
      {"faded-bw-negative", ZEP3_DOC_NEGATIVE_BW, ZEP3_SUB_RESTORATION, "faded or stained monochrome negative", true},
  };
  return kinds;
}

const Kind* FindKind(std::string_view name) {
  return Find([&](const Kind& kind) { return kind.name == name; });
}

const Kind* FindKind(uint16_t docType, uint16_t subMode) {
  return Find([&](const Kind& kind) { return kind.docType == docType && kind.subMode == subMode; });
}
