// Corrections as JSON: written beside results, printed by `zep3 analyse`, read to repeat them.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "page/correction.h"

inline constexpr size_t kSidecarBytes = 64 << 20; // the most: some 8,000 pages, or 200 with surfaces
// What is told of a page in few words, in lines of JSON as well as in sidecars.
inline constexpr const char* kFieldsOfPage[] = {"page", "verdict", "analysis", "surface", "frame", "crop", "member"};

// `cells`: with those of papers' surfaces, which repeating them takes.
nlohmann::ordered_json CorrectionToJson(const std::string& scanName, const std::vector<CorrectedPage>& pages,
                                        bool cells);

// The same as a file's text; indent as of ToText.
std::string CorrectionText(const std::string& scanName, const std::vector<CorrectedPage>& pages, bool cells,
                           int indent);

// A list in one line: which analysis decided on each page and why, null where its correction does not tell; the kind
// and the record's points.
std::string AnalysesText(const std::vector<CorrectedPage>& pages);

// The text of a file written from the above. Throws Failure that says what is missing or out of range, also when this
// program's engine makes other tables of the record than those in the file.
std::vector<CorrectedPage> CorrectionFromJson(const std::string& text);

// The same from a file; the failure names it.
std::vector<CorrectedPage> ReadSidecar(const std::string& path);

// The text of a JSON value. Names of files need not be UTF-8, JSON must: what is not is replaced. indent -1: one line.
std::string ToText(const nlohmann::ordered_json& json, int indent);
