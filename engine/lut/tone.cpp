// The user's tone curves: tables of the control points, and the working curve mapped through them.
#include <algorithm>

#include "engine/common/convert.h"
#include "engine/lut/clut.h"

namespace {

void MapCurve(const ZEP3_TONE& tone, double (*curve)[256], int channels) {
  double table[256];
  if (!CLUT::ToneTable(&tone, table)) return;
  for (int c = 0; c < channels; c++) {
    for (double& y : curve[c]) y = CLUT::MapThrough(table, y);
  }
}

void ToneTableOrIdentity(const ZEP3_TONE* tone, double* table) {
  if (CLUT::ToneTable(tone, table)) return;
  for (int i = 0; i < 256; i++) table[i] = i;
}

} // namespace

bool CLUT::ToneTable(const ZEP3_TONE* tone, double* table) {
  if (tone == nullptr) return false;
  double x[ZEP3_TONE_POINTS + 1] = {};
  double y[ZEP3_TONE_POINTS + 1] = {};
  const int points = std::min<int>(tone->wPointNum, ZEP3_TONE_POINTS);
  int kept = 0;
  for (int i = 0; i < points; i++) {
    const double input = static_cast<double>(tone->ptCtrl[i].x);
    if (kept > 0 && !(input > x[kept])) continue;
    kept++;
    x[kept] = input;
    y[kept] = static_cast<double>(tone->ptCtrl[i].y);
  }
  return GetGammaCurve(x, y, kept, table);
}

double CLUT::MapThrough(const double* table, double v) {
  if (v >= 255.0) return table[255];
  if (v < 0.0) return table[0];
  if (v != v) return v;
  const int n = ToInt32(v);
  return table[n] + (v - n) * (table[n + 1] - table[n]);
}

void CLUT::ApplyMasterTone(const ZEP3_TONE* master) { MapCurve(*master, m_dCurve, 3); }

void CLUT::ApplyRGBTone(const ZEP3_TONE* rgb) {
  for (int c = 0; c < 3; c++) MapCurve(rgb[c], &m_dCurve[c], 1);
}

bool CLUT::MakeToneCurvLUT(const ZEP3_IC* ic, double* master, double* rgb) {
  ToneTableOrIdentity(ic->pMasterTone, master);
  for (int c = 0; c < 3; c++) {
    ToneTableOrIdentity(ic->pRGBTone == nullptr ? nullptr : &ic->pRGBTone[c], rgb + 256 * c);
  }
  return true;
}
