// A page that shows a scan finished as each kind of original, with the command for each.
#pragma once

#include <string>
#include <vector>

#include <vips/vips8>

// A scan as one kind and by one analysis.
struct ComparedResult {
  std::string kind, text; // the kind's name, and what it is for
  std::string analysis;   // "adaptive" or "standard"
  bool best = true;       // the analysis that the kind gets unasked
  bool likely = true;     // nothing in the scan speaks against the kind
  std::string verdict;    // in words
  std::string command;    // that makes it
  vips::VImage picture;   // small, of 8 bits
};

// One scan's part of the page. `fault`: why it could not be read; empty: it was.
std::string ComparedScan(const std::string& name, const vips::VImage& scan, const std::vector<ComparedResult>& results);
std::string ComparedFault(const std::string& name, const std::string& fault);

// The whole page.
std::string ComparePage(const std::vector<std::string>& scans);
