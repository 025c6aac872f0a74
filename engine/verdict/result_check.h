// A correction held against the scan that it was made for: what its tables make of the blocks of the picture.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/adaptive/view.h"
#include "engine/zep3.h"

// Display levels are 0..255; "before" is the scan shown as it is.
struct ResultMeasures {
  double clipped = 0.0;   // share of the picture where a channel is at its end that it was not at before
  double marksLost = 0.0; // share of the picture's faint marks that can no longer be seen
  double lightest = 0.0;  // display level that 5 % of the picture lie above ...
  double darkest = 0.0;   // ... and that 5 % lie below
  double lightestBefore = 0.0;
  double darkestBefore = 0.0;
  double cast = 0.0;      // display levels that the channels of its least coloured parts lie apart
  double castGrown = 0.0; // more than before; a negative has no before
};

class ResultCheck {
 public:
  // The view must outlive the object. `bySrgb`: the scan stands for light that an sRGB display shows, as the adaptive
  // analysis of prints and slides has it; else it is shown by the record's gamma.
  ResultCheck(const View& view, const ZEP3_PARA& para, bool bySrgb);

  // Too little to judge by.
  bool IsEmpty() const { return m_view.picture.blocks.empty(); }

  // Of the result that the tables of a record make; the record is not changed.
  ResultMeasures Measure(const ZEP3_PARA& para, const double* matrix) const;

 private:
  struct Mark {
    uint32_t first, second; // numbers of neighbouring blocks among the picture's
  };
  using Colour = std::array<double, 3>; // display levels
  void FindMarks(const std::vector<Colour>& shown);

  const View& m_view;
  const bool m_negative;
  std::vector<Mark> m_marks;
  ResultMeasures m_before; // of the scan shown as it is
};
