// A roll's file: what was seen of its scans, what they share, and which of them belong. It lets a run that was ended go
// on, and later scans of the same film be finished alike.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/zep3.h"
#include "options.h"
#include "page/correction.h"

inline constexpr const char* kRollName = "roll.zep3.json";
inline constexpr const char* kRollPageName = "roll.zep3.html";

struct ObservedPage {
  int page = 0; // in its file, from 0
  ZEP3_OBSERVATION seen = {};
  Member member = Member::kNone; // not solved yet
};

struct ObservedScan {
  std::string name; // as the user named it
  int64_t bytes = 0;
  int64_t seconds = 0, nanoseconds = 0; // of its last change
  std::vector<ObservedPage> pages;

  // Whether this is the same file, by its name without its folder, size and time.
  bool IsSame(const ObservedScan& other) const;
};

struct Roll {
  AnalysisOptions analysis;          // as far as observations depend on it: kind, matrix, area
  std::optional<int> inputGamma;     // likewise, tenths; absent: each scan's own
  std::string program, engine;       // versions, likewise
  std::optional<ZEP3_SHARED> shared; // absent: too few belong together, or not all have been looked at
  std::vector<ObservedScan> scans;

  Roll(); // of this version
  // Whether its frames do not share a base. Known once the members are.
  bool IsMixed() const;
  // Whether its originals are so unequal that each is finished nearly as by itself.
  bool IsUnequal() const;
  static constexpr const char* kUnequalText =
      "too unequal to be one box, so that each is finished nearly as by itself"; // follows "they are"
  // Whether scans were looked at in the same way.
  bool IsSeenAs(const Roll& other) const;
};

// What one look at a scan found, as a message.
std::string ObservedScanText(const ObservedScan& scan);
ObservedScan ObservedScanFromText(const std::string& text);

std::string RollText(const Roll& roll);
// The file written from that. Throws Failure that names the file and what is wrong with it.
Roll ReadRoll(const std::string& path);
