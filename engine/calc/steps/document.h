// Steps that the document and the ground-colour-removal calculator take alike.
#pragma once

#include "engine/calc/czep.h"
#include "engine/calc/steps/hl_balance.h"

// The document members recomputed for the record's correction level.
void FollowDocLevel(CZEP& zep);

// Fields that the document and ground-colour calculators fix: curve types, outputs 255 and 10, no saturation, no flag.
void SetDocHeader(ZEP3_PARA& para);

struct DocHighlights {
  HlBalance balance;
  double gain;
};

// Balance and gain from the document members.
DocHighlights BalanceDocHighlights(const CZEP& zep);

// Shadow input of the plain handling: a straight line through the origin and the highlight, rounded.
int64_t PlainDocShadow(int64_t hl16);

// Highlight to shadow ratio of all channels from the document members.
double DocRatio(const CZEP& zep, const int64_t (&hl16)[3]);

// Gamma (times 100) of an original with outputs 255 and 10: the slope's excess over 1, weighted.
int64_t DocGamma(int64_t hl16, int64_t sd16, double weight);
