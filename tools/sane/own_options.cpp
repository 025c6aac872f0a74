#include "own_options.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "device.h"
#include "tools/zep3/command/stops.h"

namespace {

enum Own {
  kGroup,
  kKind,
  kAnalysis,
  kLevel,
  kBacklight,
  kExposure,
  kContrast,
  kWarmth,
  kTint,
  kGamma,
  kDecide,
  kFound
};

constexpr SANE_Int kWordRoom = 64;   // bytes of a word of a list
constexpr SANE_Int kFoundRoom = 512; // bytes
constexpr SANE_Int kSet = SANE_CAP_SOFT_SELECT | SANE_CAP_SOFT_DETECT;
constexpr const char* kOff = "off";
constexpr const char* kConfigFolder = "/etc/sane.d";

const SANE_Range kLevels = {0, 9, 1}, kEighths = {0, 8, 1}, kPercents = {-99, 99, 1};
const SANE_Range kStops = {SANE_FIX(-5), SANE_FIX(5), SANE_FIX(0.0625)};
const SANE_Range kGammas = {SANE_FIX(1), SANE_FIX(3), 0};
const SANE_String_Const kAnalyses[] = {"best", "standard", "adaptive", nullptr};
const SANE_String_Const kDecisions[] = {"automatic", "pre-scan", "whole page", nullptr};

// "off", and the kinds of the library.
const SANE_String_Const* Kinds() {
  static const std::vector<SANE_String_Const> kinds = [] {
    std::vector<SANE_String_Const> names = {kOff};
    for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) names.push_back(kind->pName);
    names.push_back(nullptr);
    return names;
  }();
  return kinds.data();
}

SANE_Option_Descriptor Words(const char* name, const char* title, const char* text, const SANE_String_Const* list) {
  SANE_Option_Descriptor option = {
      name, title, text, SANE_TYPE_STRING, SANE_UNIT_NONE, kWordRoom, kSet, SANE_CONSTRAINT_STRING_LIST, {}};
  option.constraint.string_list = list;
  return option;
}

SANE_Option_Descriptor Number(const char* name, const char* title, const char* text, SANE_Value_Type type,
                              SANE_Unit unit, const SANE_Range& range) {
  SANE_Option_Descriptor option = {name, title, text, type, unit, sizeof(SANE_Word), kSet, SANE_CONSTRAINT_RANGE, {}};
  option.constraint.range = &range;
  return option;
}

const SANE_Option_Descriptor& Original(SANE_Int number) {
  static const std::array<SANE_Option_Descriptor, OwnOptions::kCount> options = [] {
    std::array<SANE_Option_Descriptor, OwnOptions::kCount> all;
    all[kGroup] = {"", "Correction (zep3)", "", SANE_TYPE_GROUP, SANE_UNIT_NONE, 0, 0, SANE_CONSTRAINT_NONE, {}};
    all[kKind] = Words("zep3-kind", "What is scanned", "The kind of original; off: the scan stays as it is.", Kinds());
    all[kAnalysis] =
        Words("zep3-analysis", "Analysis",
              "Channel by channel (standard), by colours that occur together (adaptive), or what is best for the kind.",
              kAnalyses);
    all[kLevel] = Number("zep3-level", "Strength", "Strength of the correction; 4 is usual.", SANE_TYPE_INT,
                         SANE_UNIT_NONE, kLevels);
    all[kBacklight] = Number("zep3-backlight", "Backlight", "Lifts a dark subject before a bright background.",
                             SANE_TYPE_INT, SANE_UNIT_NONE, kEighths);
    all[kExposure] =
        Number("zep3-exposure", "Exposure", "Lighter or darker, in stops.", SANE_TYPE_FIXED, SANE_UNIT_NONE, kStops);
    all[kContrast] =
        Number("zep3-contrast", "Contrast", "More or less contrast.", SANE_TYPE_INT, SANE_UNIT_PERCENT, kPercents);
    all[kWarmth] = Number("zep3-warmth", "Warmth", "Warmer, or cooler below 0: stops between red and blue.",
                          SANE_TYPE_FIXED, SANE_UNIT_NONE, kStops);
    all[kTint] = Number("zep3-tint", "Tint", "More magenta, or green below 0: stops between these.", SANE_TYPE_FIXED,
                        SANE_UNIT_NONE, kStops);
    all[kGamma] = Number("zep3-gamma", "Gamma of the scanner",
                         "Gamma of the values that the scanner sends; 2.2 stands for sRGB, 1.0 for raw light.",
                         SANE_TYPE_FIXED, SANE_UNIT_NONE, kGammas);
    all[kDecide] = Words("zep3-decide", "Decide by",
                         "A look at a low resolution before the scan, or the whole page, which then comes at once. "
                         "Automatic: by what the scanner says of itself. Documents always take the whole page.",
                         kDecisions);
    all[kGamma].cap |= SANE_CAP_ADVANCED;
    all[kDecide].cap |= SANE_CAP_ADVANCED;
    all[kFound] = {"zep3-found",
                   "Found",
                   "What was said of the last scan.",
                   SANE_TYPE_STRING,
                   SANE_UNIT_NONE,
                   kFoundRoom,
                   SANE_CAP_SOFT_DETECT | SANE_CAP_ADVANCED,
                   SANE_CONSTRAINT_NONE,
                   {}};
    return all;
  }();
  return options[static_cast<size_t>(number)];
}

// The place of a word in a list; -1: it is not there.
SANE_Word PlaceIn(const SANE_String_Const* list, const char* word) {
  for (SANE_Word i = 0; list[i] != nullptr; i++) {
    if (::strcasecmp(list[i], word) == 0) return i;
  }
  return -1;
}

SANE_Word Within(const SANE_Range& range, SANE_Word value) {
  const SANE_Word held = std::clamp(value, range.min, range.max);
  if (range.quant == 0) return held;
  const double steps = std::round((static_cast<double>(held) - range.min) / range.quant);
  return std::min(range.max, static_cast<SANE_Word>(range.min + steps * range.quant));
}

void CopyText(const char* text, void* to, SANE_Int room) {
  std::snprintf(static_cast<char*>(to), static_cast<size_t>(room), "%s", text);
}

// As SANE looks for files of its backends: an empty name at the end stands for the usual folder.
std::vector<std::string> ConfigFolders() {
  const char* const given = std::getenv("SANE_CONFIG_DIR");
  if (given == nullptr || *given == '\0') return {kConfigFolder};
  std::vector<std::string> folders;
  std::istringstream names(std::string(given) + ":end");
  for (std::string name; std::getline(names, name, ':');) folders.push_back(name);
  folders.pop_back();
  if (folders.back().empty()) folders.back() = kConfigFolder;
  return folders;
}

} // namespace

OwnOptions::OwnOptions() {
  m_values.fill(0);
  m_values[kKind] = PlaceIn(Kinds(), "photo");
  m_values[kLevel] = 4;
  m_values[kGamma] = SANE_FIX(2.2);
  ReadConfig();
}

// Lines "NAME VALUE", with the options' names without "zep3-". What is wrong is said and left out.
void OwnOptions::ReadConfig() {
  for (const std::string& folder : ConfigFolders()) {
    const std::string path = folder + "/zep3.conf";
    std::ifstream file(path);
    if (!file) continue;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
      number++;
      std::istringstream words(line);
      std::string name, value;
      words >> name;
      if (name.empty() || name[0] == '#') continue;
      std::getline(words >> std::ws, value);
      value.erase(value.find_last_not_of(" \t\r") + 1);
      SANE_Status status = SANE_STATUS_INVAL;
      for (SANE_Int i = 1; i < kFound; i++) {
        if ("zep3-" + name != Original(i).name) continue;
        SANE_Int info = 0;
        if (Original(i).type == SANE_TYPE_STRING) {
          status = Set(i, value.c_str(), info);
        } else {
          const std::optional<double> parsed = ParseNumber(value);
          if (!parsed || !(std::abs(*parsed) < 1000)) break;
          const SANE_Word word =
              Original(i).type == SANE_TYPE_FIXED ? SANE_FIX(*parsed) : static_cast<SANE_Word>(*parsed);
          status = Set(i, &word, info);
        }
      }
      if (status != SANE_STATUS_GOOD)
        std::fprintf(stderr, "%s:%d: '%s' is no option with such a value\n", path.c_str(), number, line.c_str());
    }
    return;
  }
}

const SANE_Option_Descriptor* OwnOptions::Descriptor(SANE_Int option) const {
  if (option < 0 || option >= kCount) return nullptr;
  SANE_Option_Descriptor& shown = m_shown[static_cast<size_t>(option)];
  shown = Original(option);
  if (Kind() == nullptr && option > kKind) shown.cap |= SANE_CAP_INACTIVE;
  return &shown;
}

SANE_Status OwnOptions::Set(SANE_Int option, const void* value, SANE_Int& info) {
  const SANE_Option_Descriptor& original = Original(option);
  SANE_Word& mine = m_values[static_cast<size_t>(option)];
  if (original.constraint_type == SANE_CONSTRAINT_STRING_LIST) {
    const SANE_Word place = PlaceIn(original.constraint.string_list, static_cast<const char*>(value));
    if (place < 0) return SANE_STATUS_INVAL;
    if (option == kKind && (place == 0) != (mine == 0)) info |= SANE_INFO_RELOAD_OPTIONS;
    if (option == kKind) info |= SANE_INFO_RELOAD_PARAMS;
    mine = place;
    return SANE_STATUS_GOOD;
  }
  SANE_Word word;
  std::memcpy(&word, value, sizeof word);
  mine = Within(*original.constraint.range, word);
  if (mine != word) info |= SANE_INFO_INEXACT;
  return SANE_STATUS_GOOD;
}

SANE_Status OwnOptions::Control(SANE_Int option, SANE_Action action, void* value, SANE_Int* info) {
  const SANE_Option_Descriptor* const shown = Descriptor(option);
  if (shown == nullptr || shown->type == SANE_TYPE_GROUP || value == nullptr || !SANE_OPTION_IS_ACTIVE(shown->cap))
    return SANE_STATUS_INVAL;
  const SANE_Word mine = m_values[static_cast<size_t>(option)];
  if (action == SANE_ACTION_GET_VALUE) {
    if (option == kFound) {
      CopyText(m_found.c_str(), value, kFoundRoom);
    } else if (shown->type == SANE_TYPE_STRING) {
      CopyText(shown->constraint.string_list[mine], value, kWordRoom);
    } else {
      std::memcpy(value, &mine, sizeof mine);
    }
    return SANE_STATUS_GOOD;
  }
  if (action != SANE_ACTION_SET_VALUE || !SANE_OPTION_IS_SETTABLE(shown->cap)) return SANE_STATUS_INVAL;
  SANE_Int told = 0;
  const SANE_Status status = Set(option, value, told);
  if (info != nullptr) *info = told;
  // A front end writes the value that is taken back to where it came from.
  if (status == SANE_STATUS_GOOD && shown->type != SANE_TYPE_STRING)
    std::memcpy(value, &m_values[static_cast<size_t>(option)], sizeof(SANE_Word));
  return status;
}

const ZEP3_KIND* OwnOptions::Kind() const {
  return m_values[kKind] == 0 ? nullptr : FindZEP3Kind(Kinds()[m_values[kKind]]);
}

void OwnOptions::Describe(ZEP3_PARA& para) const {
  SetZEP3Kind(&para, Kind()->pName);
  para.lScreenGamma = ScanGamma();
  para.lCorrectLevel = m_values[kLevel];
  para.lAgainstLight = m_values[kBacklight];
  para.ic.lContrast = m_values[kContrast];
  para.ic.lBrightness = StepsOfStops(SANE_UNFIX(m_values[kExposure]));
  const std::array<int64_t, 3> balance = BalanceOfStops(SANE_UNFIX(m_values[kWarmth]), SANE_UNFIX(m_values[kTint]));
  para.ic.lColorBalanceR = balance[0];
  para.ic.lColorBalanceG = balance[1];
  para.ic.lColorBalanceB = balance[2];
}

int64_t OwnOptions::ScanGamma() const { return std::llround(10 * SANE_UNFIX(m_values[kGamma])); }

int64_t OwnOptions::ValueGamma() const {
  const int64_t gamma = ScanGamma();
  return gamma == ZEP3_GAMMA_SRGB ? int64_t{ZEP3_GAMMA_SRGB_CURVE} : gamma;
}

int64_t OwnOptions::Adaptive() const {
  return m_values[kAnalysis] == 0 ? int64_t{ZEP3_UNSET} : int64_t{m_values[kAnalysis] - 1};
}

bool OwnOptions::WholePages() const { return m_values[kDecide] == PlaceIn(kDecisions, "whole page"); }

bool OwnOptions::AlwaysPrescan() const { return m_values[kDecide] == PlaceIn(kDecisions, "pre-scan"); }

void OwnOptions::TellFound(const ZEP3_EVIDENCE* evidence) {
  m_found = "nothing was looked for";
  if (evidence == nullptr) return;
  m_found = evidence->lVerdict == ZEP3_VERDICT_GOOD   ? "good"
            : evidence->lVerdict == ZEP3_VERDICT_LOOK ? "look"
                                                      : "failed";
  for (int64_t i = 0; const ZEP3_REASON* reason = GetZEP3Reason(i); i++) {
    if ((evidence->lReasons & reason->lBit) != 0) m_found.append("; ").append(reason->pText);
  }
}
