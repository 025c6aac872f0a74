// One self-contained HTML page that shows a scan before and after, its histograms, the curves and the numbers.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <vips/vips8>

// Why a page was corrected as it was.
struct ReportWhy {
  struct Row {
    std::string what, value, unit, reading;
  };
  std::string decision;
  std::vector<std::string> reasons; // sentences
  std::vector<Row> evidences;
};

// What the report shows of one page of a scan.
struct ReportPage {
  std::string title;
  std::string verdict;               // in words; empty: the result was not checked
  bool good = true;                  // nothing speaks against the result
  vips::VImage before, after;        // small pictures of 8 bits, gray or RGB, in memory, profile attached
  std::string framed;                // what the line on `before` is around; empty: there is none
  std::optional<vips::VImage> cut;   // likewise: the part of `after` that is the result
  std::optional<vips::VImage> paper; // likewise: the paper of a page, what is kept on it as it is
  // Pixels per file value 0..255 of red, green, blue.
  std::array<std::array<int64_t, 256>, 3> histogramBefore{}, histogramAfter{};
  // The tables as applied: file value 0..255 in, file value out. Red, green, blue.
  std::array<std::array<uint8_t, 256>, 3> tables{};
  // Name and value, in the order to be shown.
  std::vector<std::pair<std::string, std::string>> numbers;
  std::optional<ReportWhy> why; // absent where it is not known
};

// The whole page as text, with the pictures as JPEG and gnuplot's plots as SVG inside. A scan whose histograms and
// tables have three equal channels is gray: one line each. Needs VIPS_INIT. Throws Failure: gnuplot is missing or
// fails, or libvips cannot make a picture.
std::string MakeReport(const std::string& scanName, const std::vector<ReportPage>& pages);
