// The backend's own options, behind those of the scanner: what was scanned, and what the user adds.
#pragma once

#include <sane/sane.h>

#include <array>
#include <string>
#include <vector>

#include "engine/zep3.h"

class OwnOptions {
 public:
  static constexpr SANE_Int kCount = 12;

  // With the values of zep3.conf, from the folders of SANE_CONFIG_DIR or /etc/sane.d.
  OwnOptions();

  // By numbers from 0.
  const SANE_Option_Descriptor* Descriptor(SANE_Int option) const;
  SANE_Status Control(SANE_Int option, SANE_Action action, void* value, SANE_Int* info);

  // Null: scans are handed on as they are.
  const ZEP3_KIND* Kind() const;
  // Fills kind, strength and the user's values in.
  void Describe(ZEP3_PARA& para) const;
  int64_t ScanGamma() const;                     // tenths
  int64_t ValueGamma() const;                    // as calls take it for a scan's values; 2.2 stands for sRGB
  int64_t Adaptive() const;                      // as of FinishZEP3
  bool WholePages() const;                       // no pre-scan
  bool AlwaysPrescan() const;                    // also where it is not known that the scanner can look twice
  void TellFound(const ZEP3_EVIDENCE* evidence); // null: nothing was looked for

 private:
  SANE_Status Set(SANE_Int option, const void* value, SANE_Int& info);
  void ReadConfig();

  std::array<SANE_Word, kCount> m_values; // numbers, and places in lists of words
  mutable std::array<SANE_Option_Descriptor, kCount> m_shown;
  std::string m_found = "nothing was scanned yet";
};
