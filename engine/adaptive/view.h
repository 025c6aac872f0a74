// What an analysis looks at.
#pragma once

#include "engine/adaptive/block_grid.h"
#include "engine/adaptive/picture.h"
#include "engine/zep3.h"

struct View {
  BlockGrid grid;
  Picture picture;
};

// Of an image that the standard analysis has accepted, by the kind of original; a page has no window. `known`: of an
// adaptive analysis of the image, whose window is taken; null: the window is looked for.
View LookAt(const ZEP3_BmpInfo& image, const ZEP3_PARA& para, const ZEP3_EVIDENCE* known = nullptr);

// The same where its blocks may have been read on the way, by a reader with this margin.
int MarginOfView(const ZEP3_PARA& para);
View LookAt(const ZEP3_BmpInfo& image, const ZEP3_PARA& para, BlockGridReader& read,
            const ZEP3_EVIDENCE* known = nullptr);
