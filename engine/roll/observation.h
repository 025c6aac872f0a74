// What a scan says of its roll or box: written down, checked and put in order.
#pragma once

#include <vector>

#include "engine/adaptive/negative/estimator.h"
#include "engine/adaptive/positive/estimator.h"
#include "engine/zep3.h"

// Whether observations of the kind are those of negatives.
bool IsFilm(int64_t docType);

// Writes the kind of a record; false where originals of the kind share nothing.
bool SharedKind(const ZEP3_PARA& para, int64_t& docType, int64_t& subMode);
bool IsOfKind(const ZEP3_PARA& para, const ZEP3_SHARED& shared);

// After NegativeEstimator::Measure. `contrast`: a channel's density contrast relative to the film's own.
void ObserveFilm(const NegativeEstimator& estimator, const BlockGrid& grid, const std::vector<size_t>& picture,
                 bool colour, bool faded, const double (&contrast)[3], ZEP3_OBSERVATION& seen);

// After PositiveEstimator::Estimate.
void ObserveOriginal(const PositiveEstimate& estimate, ZEP3_OBSERVATION& seen);

// Whether the numbers are such as a scan can have: finite and within bounds in which nothing overflows.
bool IsPlausible(const ZEP3_OBSERVATION& seen);
bool IsPlausible(const ZEP3_SHARED& shared);

// The numbers of those that show a picture, in an order that is their values' alone.
std::vector<size_t> InOrder(const ZEP3_OBSERVATION* seen, size_t count);
