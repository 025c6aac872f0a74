// Reflective document: paper to white by one gain on the balanced highlights, one highlight to shadow ratio, and a
// damped gamma. Outputs 255 and 10.
#include "engine/calc/czep.h"
#include "engine/calc/steps/document.h"
#include "engine/calc/steps/points.h"

bool CZEP::CalcParamFBDoc() {
  ZEP3_IC& ic = m_pPara->ic;
  SetDocHeader(*m_pPara);
  FollowDocLevel(*this);
  const DocHighlights hl = BalanceDocHighlights(*this);
  for (int c = 0; c < 3; c++) {
    ic.ch[c].lHlIn = GainedHighlight(hl.balance.Highlight16(m_pHist->m_pdHistMax[1][c]), hl.gain, m_nDocHlMin);
  }
  if (IsPlain(*m_pPara)) {
    for (ZEP3_POINTS& p : ic.ch) {
      p.lGamma = 100;
      p.lSdIn = PlainDocShadow(p.lHlIn);
    }
    return true;
  }
  const double ratio = DocRatio(*this, {ic.ch[0].lHlIn, ic.ch[1].lHlIn, ic.ch[2].lHlIn});
  for (ZEP3_POINTS& p : ic.ch) {
    p.lSdIn = ToLevel16(Level8(p.lHlIn) / ratio);
    p.lGamma = DocGamma(p.lHlIn, p.lSdIn, m_dDocGammaWeight);
  }
  return true;
}
