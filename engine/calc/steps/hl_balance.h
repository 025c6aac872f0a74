// Highlights of the three channels: how far each keeps its own, and the gain on them. Linear levels; entry 3 of a
// statistic is on the sum scale.
#pragma once

#include <cstdint>

#include "engine/hist/chist.h"

struct HlBalanceLimits {
  double colorRatio; // highest / lowest highlight up to which the channels keep their own
  double hlLow;      // sum: at or below, one highlight for all channels
  double hlHigh;     // sum: from here on, own highlights
  double spreadLow;  // colour spread: up to here own highlights
  double spreadHigh; // colour spread: from here on one highlight
};

struct HlBalance {
  double own;     // share of a channel's own highlight, 0..1 at levels from 0
  double common;  // share of the largest highlight, the rest
  double largest; // of the three highlights
  double ratio;   // largest / smallest
  double spread;  // sum of the highlights minus the highlight of the sums: 0 for a neutral original

  // The balanced highlight of one channel, 16-bit.
  int32_t Highlight16(double highlight) const;
};

// From the 0.5 % highlights.
HlBalance BalanceHighlights(const CHIST& hist, const HlBalanceLimits& limits);

// Photos and slides: the same, but at correction level 1 all channels share one highlight.
HlBalance BalancePhotoHighlights(const CHIST& hist, const HlBalanceLimits& limits, double level);

// The highlight gain of photos and slides: at most gainMax and the 0.1 % highlight, at least the 5 % highlight, in
// between a stretch of the distance from the 5 % to the 0.5 % highlight. All relative to the 0.5 % highlight of the
// sums.
double PhotoHighlightGain(const CHIST& hist, double gainMax, double stretch);

struct CastGain {
  double neutral;    // gain without a cast
  double coloured;   // gain with a full cast
  double spreadLow;  // colour spread at which a cast begins
  double spreadHigh; // colour spread of a full cast
  double castFactor; // weight of the colour ratio
};

// The highlight gain of documents, by colour cast. A negative castFactor takes it beyond `neutral`.
double DocumentHighlightGain(const HlBalance& balance, const CastGain& gain);

// The largest highlight to shadow ratio of the three channels: highlights are 16-bit input points (at least the
// calculator's lowest highlight, so positive), shadows the 0.5 % minimum levels.
double LargestRatio(const CHIST& hist, const int64_t (&hl16)[3]);

// The highlight step of photos and slides follows the shoulder: stretched by this factor while a mid-range picture has
// a soft one. [rangeLow, rangeHigh) is the mid range of the all-channel spread (sum scale).
double HighlightStepFactor(const CHIST& hist, int rangeLow, int rangeHigh);
