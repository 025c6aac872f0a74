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
  static const std::vector<Kind> kinds = [] {
    std::vector<Kind> all;
    for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) {
      all.push_back({kind->pName, kind->wDocType, kind->wSubMode, kind->pText, kind->wAdaptive != 0});
    }
    return all;
  }();
  return kinds;
}

const Kind* FindKind(std::string_view name) {
  return Find([&](const Kind& kind) { return kind.name == name; });
}

const Kind* FindKind(uint16_t docType, uint16_t subMode) {
  return Find([&](const Kind& kind) { return kind.docType == docType && kind.subMode == subMode; });
}
