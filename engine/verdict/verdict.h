// What is said of a result: the checks that it fails, and the verdict.
#pragma once

#include <cstdint>

#include "engine/adaptive/view.h"
#include "engine/verdict/result_check.h"
#include "engine/zep3.h"

// The checks of a result that fail, as reasons.
int64_t FailedChecks(const ResultMeasures& measures, const ZEP3_PARA& para);

// Writes the verdict on the record's tables, with their user values, and the reasons of the checks. `failed`: of checks
// that were made elsewhere.
void Judge(const View& view, const ZEP3_PARA& para, const double* matrix, ZEP3_EVIDENCE& evidence, int64_t failed = 0);

// What an analysis writes into a record, on the display's scale.
class Proposal {
 public:
  explicit Proposal(const ZEP3_PARA& para);
  void WriteTo(ZEP3_PARA& para) const;

  // A share of the way to another one: points, gammas and saturation. Tone curves stay.
  Proposal Toward(const Proposal& other, double share) const;
  // Of an original that is not a negative: nothing is changed. `bySrgb` as in ResultCheck.
  static Proposal Unchanged(const ZEP3_PARA& para, bool bySrgb);

 private:
  ZEP3_IC m_ic;
  int64_t m_saturation;
  int64_t m_levelFlag;
  ZEP3_TONE m_master;
  ZEP3_TONE m_rgb[3];
};

// Weakens an adaptive correction that fails a check, toward the standard one and toward the scan, until it holds, and
// judges what is left. `usable`: the standard correction is none of default points.
void Settle(const View& view, const Proposal& standard, bool usable, const double* matrix, ZEP3_PARA& para,
            ZEP3_EVIDENCE& evidence);
