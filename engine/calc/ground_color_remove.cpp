// Ground-colour removal: shadows as in the document, from the balanced highlights; the highlight input of each channel
// is its own paper level, which takes the paper's colour to white channel by channel. Outputs 255 and 10.
#include "engine/calc/czep.h"
#include "engine/calc/steps/document.h"
#include "engine/calc/steps/points.h"

bool CZEP::CalcGroundColorRemove() {
  ZEP3_IC& ic = m_pPara->ic;
  SetDocHeader(*m_pPara);
  FollowDocLevel(*this);
  const DocHighlights hl = BalanceDocHighlights(*this);
  int64_t balanced[3];
  for (int c = 0; c < 3; c++) {
    const double highlight = m_pHist->m_pdHistMax[1][c];
    balanced[c] = GainedHighlight(hl.balance.Highlight16(highlight), hl.gain, m_nDocHlMin);
    ic.ch[c].lHlIn = GainedHighlight(ToLevel16(highlight), hl.gain, m_nGcHlMinOwn);
  }
  if (IsPlain(*m_pPara)) {
    for (int c = 0; c < 3; c++) {
      ic.ch[c].lGamma = 100;
      ic.ch[c].lSdIn = PlainDocShadow(balanced[c]);
    }
    return true;
  }
  const double ratio = DocRatio(*this, balanced);
  for (int c = 0; c < 3; c++) {
    ZEP3_POINTS& p = ic.ch[c];
    p.lSdIn = ToLevel16(Level8(balanced[c]) / ratio);
    p.lGamma = DocGamma(p.lHlIn, p.lSdIn, m_dGcGammaWeight);
  }
  return true;
}
