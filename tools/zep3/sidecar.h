// Corrections as JSON: written beside results, printed by `zep3 analyse`, read to repeat them.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "correction.h"

// One corrected page of a scan.
struct CorrectedPage {
  int page = 0;
  int bands = 3;
  int bits = 8;      // per value
  double chroma = 1; // as applied, see ApplyCorrection
  Correction correction;
};

// Which analysis decided and why; null where the correction does not tell.
nlohmann::ordered_json AnalysisToJson(const Correction& correction);

// Corners of the picture in pixels of the scan, top left, top right, bottom right, bottom left, and the confidence in
// them; null where none were found.
nlohmann::ordered_json FrameToJson(const Correction& correction);

nlohmann::ordered_json CorrectionToJson(const std::string& scanName, const std::vector<CorrectedPage>& pages);

// The text of a file written from the above. Throws Failure that says what is missing or out of range, also when this
// program's engine makes other tables of the record than those in the file.
std::vector<CorrectedPage> CorrectionFromJson(const std::string& text);

// The same from a file; the failure names it.
std::vector<CorrectedPage> ReadSidecar(const std::string& path);

// The text of a JSON value. Names of files need not be UTF-8, JSON must: what is not is replaced. indent -1: one line.
std::string ToText(const nlohmann::ordered_json& json, int indent);
