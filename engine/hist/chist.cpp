// Construction and destruction of CHIST.
#include "engine/hist/chist.h"

// Delegating makes the object complete before it owns anything, so that the destructor runs if an allocation throws.
CHIST::CHIST() : CHIST(WithoutResults{}) {
  for (double*& values : m_pdHistMax) values = new double[4]();
  for (double*& values : m_pdHistMin) values = new double[4]();
  m_pdHistAve = new double[4]();
  for (double*& values : m_pdNegaMin) values = new double[3]();
}

CHIST::~CHIST() {
  for (double* values : m_pdHistMax) delete[] values;
  for (double* values : m_pdHistMin) delete[] values;
  delete[] m_pdHistAve;
  for (double* values : m_pdNegaMin) delete[] values;
}
