// From a pre-scan to its correction: the area, the engine's analysis, the pipettes, what the user adds.
#pragma once

#include <string>

#include "options.h"
#include "page/correction.h"
#include "page/prescan.h"

// Whether the analysis is the adaptive one of pages, which wants SmallScan::detail.
bool IsPageAnalysis(const AnalysisOptions& analysis);

// Whether scans of this kind and option share anything when they are of one roll or box.
bool CanShare(const AnalysisOptions& analysis);

// Whether what the scans of a roll share is such as the engine writes it, for this kind.
bool IsUsable(const AnalysisOptions& analysis, const ZEP3_SHARED& shared);

// How the analysis takes values of such a gamma, see GetZEP3ScanGamma.
int ScanGammaFor(const AnalysisOptions& analysis, int gamma);

// What a scan says of its roll. Throws Failure when the engine refuses the scan.
ZEP3_OBSERVATION Observe(const SmallScan& scan, const AnalysisOptions& analysis, const Encoding& encoding);

// Throws Failure when the engine refuses the scan, or a pipette its place or colour.
Correction Analyse(const SmallScan& scan, const AnalysisOptions& analysis, const UserOptions& user,
                   const Encoding& encoding);

// Makes a correction that was found on another scan this one's: with what the user adds, its size and statistics, and
// its verdict. A paper's surface is repeated on scans of its size on whose paper it lies; others get their own, with
// the levels of the first. Returns why, if so.
std::string Repeat(const SmallScan& scan, const UserOptions& user, Correction& correction);

// Seeks what of an evened page is a picture, for those who make it gray. The correction is of this scan.
void SeekPictures(const SmallScan& scan, Correction& correction);
