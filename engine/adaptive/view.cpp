#include "engine/adaptive/view.h"

#include "engine/common/record.h"
#include "engine/hist/chist.h"

// Film fills what it is scanned in; sheets leave an edge that has another light.
int MarginOfView(const ZEP3_PARA& para) { return IsNegative(para) ? 0 : CHIST::kAreaMargin; }

View LookAt(const ZEP3_BmpInfo& image, const ZEP3_PARA& para, const ZEP3_EVIDENCE* known) {
  BlockGridReader reader(image, MarginOfView(para));
  return LookAt(image, para, reader, known);
}

View LookAt(const ZEP3_BmpInfo& image, const ZEP3_PARA& para, BlockGridReader& read, const ZEP3_EVIDENCE* known) {
  View view;
  view.grid = read.Grid();
  if (IsPicture(para)) {
    const Material positive = DocType(para) == ZEP3_DOC_POSITIVE ? Material::kSlide : Material::kPrint;
    view.picture = FindPicture(image, view.grid, IsNegative(para) ? Material::kNegative : positive, known);
    return view;
  }
  for (size_t at = 0; at < view.grid.Size(); at++) {
    if (view.grid.inside[at] != 0) view.picture.blocks.push_back(at);
  }
  return view;
}
