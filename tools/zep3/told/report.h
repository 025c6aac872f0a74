// One self-contained HTML page that shows a scan before and after: what came of it, what to do next, and the numbers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <vips/vips8>

#include "page/frame.h"
#include "told/plots.h"

// Why a page was corrected as it was.
struct ReportWhy {
  struct Row {
    std::string what, value, unit, reading;
  };
  std::string decision;
  std::vector<std::string> reasons; // sentences
  std::vector<Row> evidences;
};

// A part of the scan, pixel for pixel.
struct ReportDetail {
  vips::VImage before, after;
  int64_t left = 0, top = 0; // on the scan as it is stored
};

// What the report shows of one page of a scan.
struct ReportPage {
  std::string title;
  std::string verdict;               // in words; empty: the result was not checked
  bool good = true;                  // nothing speaks against the result
  vips::VImage before, after;        // small pictures of 8 bits, gray or RGB, in memory, profile attached
  int64_t scanWidth = 0;             // of the scan as it is stored, pixels
  int64_t scanHeight = 0;            // likewise
  std::string framed;                // what the lines on `before` are around; empty: there are none
  std::vector<Corners> frames;       // those lines, on the scan
  std::optional<ReportDetail> full;  // absent: the pictures show every pixel already
  std::optional<vips::VImage> cut;   // likewise in memory: the part of `after` that is the result
  std::optional<vips::VImage> paper; // likewise: the paper of a page, what is kept on it as it is
  Counts histogramBefore{}, histogramAfter{};
  Curves tables{}; // as applied
  // Name and value, in the order to be shown.
  std::vector<std::pair<std::string, std::string>> numbers;
  std::optional<ReportWhy> why; // absent where it is not known
};

// What the report tells of the scan as a whole.
struct ReportHead {
  std::string name;     // of the scan, without its folder
  std::string next;     // what to do now, in words
  std::string overview; // a link to the page of the run, as an address; empty: there is none
  // What somebody may want otherwise, and the command for it.
  std::vector<std::pair<std::string, std::string>> commands;
  // Name and value: where the scan is, when and by what it was finished.
  std::vector<std::pair<std::string, std::string>> made;
};

// The whole page as text, with the pictures as JPEG inside. A scan whose histograms and tables have three equal
// channels is gray: one line each. Needs VIPS_INIT. Throws Failure: libvips cannot make a picture.
std::string MakeReport(const ReportHead& head, const std::vector<ReportPage>& pages);
