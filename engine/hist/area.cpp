// The specified operations on the analysis area.
#include <algorithm>

#include "engine/hist/chist.h"

AreaShape CHIST::Area() const {
  AreaShape shape;
  shape.rotated = m_bRotatedArea;
  std::copy_n(m_nAreaRect, 4, shape.rect);
  std::copy_n(m_dLineSlope, 4, shape.slope);
  std::copy_n(m_dLineIntercept, 4, shape.intercept);
  return shape;
}

void CHIST::SetArea(const AreaShape& shape) {
  m_bRotatedArea = shape.rotated;
  std::copy_n(shape.rect, 4, m_nAreaRect);
  std::copy_n(shape.slope, 4, m_dLineSlope);
  std::copy_n(shape.intercept, 4, m_dLineIntercept);
}

bool CHIST::CalcLineEquation(AREA* area, int margin) {
  m_samples.clear();
  AreaShape shape = Area();
  const bool laid = shape.Lay(*area, margin);
  SetArea(shape);
  return laid;
}

bool CHIST::AreaCheck(AREA* area) {
  AreaShape shape;
  const bool valid = shape.Check(*area);
  m_bRotatedArea = shape.rotated;
  return valid;
}

bool CHIST::CalcLineCoefficient(LPOINT* a, LPOINT* b, double* slope, double* intercept) {
  return LineThrough(*a, *b, *slope, *intercept);
}

void CHIST::RotateCoordinate(double x, double y, double* outX, double* outY, double cosine, double sine,
                             int direction) {
  Rotate(x, y, cosine, sine, direction, *outX, *outY);
}

bool CHIST::IsInnerPoint(int x, int y) { return Area().Contains(x, y); }
