// Linking a calculator to an analysis, the fixed defaults, and the clamp of input points.
#include "engine/calc/czep.h"

#include "engine/common/record.h"

namespace {

// Linear level times 257; as 8-bit levels: negative 30/200 to 200/10, photo 245/10 to 245/10, document 230/35 to
// 255/10.
constexpr ZEP3_POINTS kNegativeDefault = {7710, 51400, 51400, 2570, 150};
constexpr ZEP3_POINTS kPhotoDefault = {62965, 2570, 62965, 2570, 100};
constexpr ZEP3_POINTS kDocumentDefault = {59110, 8995, 65535, 2570, 107};

} // namespace

bool CZEP::SetParam(CHIST* hist, ZEP3_PARA* para) {
  m_pHist = hist;
  m_pPara = para;
  return true;
}

void CZEP::SetDefault(ZEP3_PARA* para) {
  const int16_t type = DocType(*para);
  const ZEP3_POINTS* points = nullptr;
  ZEP3_IC& ic = m_pPara->ic;
  if (type == ZEP3_DOC_POSITIVE || type == ZEP3_DOC_REFLECTIVE) {
    ic.wHlCurveType = ZEP3_HL_NONE;
    ic.wSdCurveType = ZEP3_SD_NONE;
    switch (para->wSubMode) {
      case ZEP3_SUB_PHOTO:
        points = &kPhotoDefault;
        break;
      case ZEP3_SUB_DOCUMENT:
        ic.wSdCurveType = ZEP3_SD_TOE;
        points = &kDocumentDefault;
        break;
      case ZEP3_SUB_BACKGROUND_REMOVAL:
        points = &kDocumentDefault;
        break;
      default: // the other sub-modes rely on what the record held before
        break;
    }
  } else {
    ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
    ic.wSdCurveType = ZEP3_SD_TOE;
    points = &kNegativeDefault;
  }
  if (points == nullptr) return;
  for (ZEP3_POINTS& channel : ic.ch) channel = *points;
}

double CZEP::LimitHlinSdin(double v) {
  if (v < 0.1) return 0.1;
  if (v > 255.0) return 255.0;
  return v;
}
