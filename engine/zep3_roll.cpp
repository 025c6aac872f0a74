// Rolls and boxes: what a scan says, and what many say together.
#include <algorithm>
#include <memory>
#include <vector>

#include "engine/adaptive/negative/propose.h"
#include "engine/adaptive/positive/tuning.h"
#include "engine/adaptive/view.h"
#include "engine/common/float_environment.h"
#include "engine/common/record.h"
#include "engine/hist/chist.h"
#include "engine/roll/box.h"
#include "engine/roll/observation.h"
#include "engine/roll/roll.h"
#include "engine/zep3.h"

namespace {

void ObserveNegative(const View& view, const double* matrix, const ZEP3_PARA& para, ZEP3_OBSERVATION& seen) {
  const bool colour = DocType(para) == ZEP3_DOC_NEGATIVE;
  const bool faded = para.wSubMode == ZEP3_SUB_RESTORATION;
  double contrast[3];
  MatrixContrasts(para, matrix, contrast);
  NegativeEstimator estimator(view.grid, view.picture, colour, faded);
  if (!estimator.Measure()) return;
  ObserveFilm(estimator, view.grid, view.picture.blocks, colour, faded, contrast, seen);
}

void ObservePositive(const View& view, const ZEP3_PARA& para, ZEP3_OBSERVATION& seen) {
  const PositiveMaterial& material = positive::MaterialOf(DocType(para) == ZEP3_DOC_POSITIVE);
  const PositiveEstimator estimator(material, positive::kFadedHistory, 0.0);
  const PositiveEstimate estimate = estimator.Estimate(view.grid, view.picture.blocks);
  if (estimate.usable) ObserveOriginal(estimate, seen);
}

} // namespace

int ObserveZEP3(const ZEP3_BmpInfo* bmp, const ZEP3_PARA* para, const double* pdColorMatrix,
                ZEP3_OBSERVATION* seen) try {
  if (bmp == nullptr || para == nullptr || seen == nullptr) return 0;
  ZEP3_OBSERVATION found = {};
  if (!SharedKind(*para, found.lDocType, found.lSubMode)) return 0;
  const FloatEnvironment environment;
  ZEP3_BmpInfo image = *bmp;
  ZEP3_PARA copy = *para;
  const auto hist = std::make_unique<CHIST>();
  if (!hist->MakeHistogram(&image, hist->m_nAreaMargin, &copy)) return 0;
  const View view = LookAt(image, copy);
  const std::vector<size_t>& blocks = view.picture.blocks;
  if (!blocks.empty() && (hist->IsOutRange(copy) || HaveUsableLevels(view.grid, blocks, DocType(copy)))) {
    if (IsNegative(copy)) {
      ObserveNegative(view, pdColorMatrix, copy, found);
    } else {
      ObservePositive(view, copy, found);
    }
  }
  *seen = found;
  return 1;
} catch (...) { // out of memory: an exception must not reach a C caller
  return 0;
}

int SolveZEP3Shared(const ZEP3_OBSERVATION* seen, int64_t lCount, ZEP3_SHARED* shared, int64_t* member) try {
  if (seen == nullptr || shared == nullptr || member == nullptr || lCount < 1) return 0;
  const FloatEnvironment environment;
  const std::vector<size_t> order = InOrder(seen, static_cast<size_t>(lCount));
  if (order.empty()) return 0;
  const ZEP3_OBSERVATION& first = seen[order[0]];
  for (const size_t i : order) {
    if (seen[i].lDocType != first.lDocType || seen[i].lSubMode != first.lSubMode) return 0;
    if (!std::equal(seen[i].dMatrix, seen[i].dMatrix + 3, first.dMatrix)) return 0;
  }
  ZEP3_SHARED found = {};
  found.lDocType = first.lDocType;
  found.lSubMode = first.lSubMode;
  found.lFrames = lCount;
  std::vector<int64_t> members(static_cast<size_t>(lCount), ZEP3_MEMBER_BLANK);
  if (!(IsFilm(first.lDocType) ? SolveRoll : SolveBox)(seen, order, found, members.data())) return 0;
  *shared = found;
  std::copy(members.begin(), members.end(), member);
  return 1;
} catch (...) {
  return 0;
}
