// The extension module zep3._core; zep3/__init__.py is what users see.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cmath>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "python/src/correction.h"
#include "python/src/scan_array.h"
#include "tools/icc/profile.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace {

// An enumeration of Python whose members are strings: in zep3, where they are pickled from.
py::object MakeEnum(py::module_& module, const char* name,
                    const std::vector<std::pair<std::string, std::string>>& members, const char* doc) {
  py::object made =
      py::module_::import("enum").attr("Enum")(name, members, "type"_a = py::type::of(py::str()), "module"_a = "zep3");
  made.attr("__doc__") = doc;
  module.attr(name) = made;
  return made;
}

// "faded-slide" to FADED_SLIDE.
std::string MemberName(std::string text) {
  for (char& c : text) c = c == '-' ? '_' : static_cast<char>(std::toupper(c));
  return text;
}

py::object EnumMember(const char* name, const std::string& value) {
  return py::module_::import("zep3._core").attr(name)(value);
}

std::string KindList() {
  std::string names;
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++)
    names += (i > 0 ? ", " : "") + std::string(kind->pName);
  return names;
}

std::string KindName(const ZEP3_PARA& para) {
  const ZEP3_KIND* kind = FindZEP3KindOf(&para);
  return kind == nullptr ? "" : kind->pName;
}

void CheckRange(const char* what, int64_t value, int64_t low, int64_t high) {
  if (value < low || value > high) {
    throw py::value_error(std::string(what) + " is " + std::to_string(value) + "; " + std::to_string(low) + " to " +
                          std::to_string(high) + " are taken");
  }
}

int64_t Tenths(const char* what, double gamma) {
  if (!(gamma >= 0.5 && gamma <= 5)) {
    throw py::value_error(std::string(what) + " is " + std::string(py::str(py::float_(gamma))) +
                          "; 0.5 to 5 are taken");
  }
  return std::lround(gamma * 10);
}

// sRGB's curve as the gamma that comes near it.
double InNumbers(int64_t gamma) {
  return static_cast<double>(gamma == ZEP3_GAMMA_SRGB_CURVE ? int64_t{ZEP3_GAMMA_SRGB} : gamma) / 10;
}

int64_t GammaTold(const std::optional<double>& gamma, const std::optional<py::bytes>& icc) {
  if (gamma) return Tenths("gamma", *gamma);
  if (!icc) return ZEP3_GAMMA_SRGB_CURVE;
  const std::string_view bytes = *icc;
  return GammaOf(OpenProfile(bytes.data(), bytes.size())).value_or(ZEP3_GAMMA_SRGB_CURVE);
}

std::optional<double> GammaOfProfile(const py::bytes& profile) {
  const std::string_view bytes = profile;
  const std::optional<int> gamma = GammaOf(OpenProfile(bytes.data(), bytes.size()));
  return gamma ? std::optional(InNumbers(*gamma)) : std::nullopt;
}

using Triple = std::array<int64_t, 3>;

Settings MakeSettings(const std::string& kind, std::optional<double> gamma, const std::optional<py::bytes>& icc,
                      std::optional<double> outputGamma, const std::optional<std::string>& analysis, int64_t level,
                      int64_t backlight, int64_t brightness, int64_t contrast, const Triple& balance,
                      const std::optional<std::array<int64_t, 4>>& area, const std::optional<Matrix>& matrix,
                      bool plain, bool even) {
  Settings settings;
  ZEP3_PARA& para = settings.record.para;
  if (kind == "auto") {
    throw py::value_error("a scan does not tell its kind surely enough: name one of " + KindList());
  }
  if (!SetZEP3Kind(&para, kind.c_str())) throw py::value_error("no kind '" + kind + "'; there are " + KindList());
  if (analysis && *analysis != "adaptive" && *analysis != "standard") {
    throw py::value_error("analysis is '" + *analysis + "'; adaptive and standard are taken");
  }
  settings.adaptive = analysis ? *analysis == "adaptive" : FindZEP3Kind(kind.c_str())->wAdaptive != 0;
  CheckRange("level", level, 0, 9);
  CheckRange("backlight", backlight, 0, 8);
  CheckRange("brightness", brightness, -1000, 1000);
  CheckRange("contrast", contrast, -99, 99);
  for (const int64_t channel : balance) CheckRange("balance", channel, -1000, 1000);
  para.lCorrectLevel = level;
  para.lAgainstLight = backlight;
  para.ic.lBrightness = brightness;
  para.ic.lContrast = contrast;
  para.ic.lColorBalanceR = balance[0];
  para.ic.lColorBalanceG = balance[1];
  para.ic.lColorBalanceB = balance[2];
  para.wDocOption = plain ? ZEP3_OPTION_PLAIN : ZEP3_OPTION_NORMAL;
  settings.gamma = GetZEP3ScanGamma(GammaTold(gamma, icc), settings.adaptive, &para);
  para.lScreenGamma = outputGamma ? Tenths("output_gamma", *outputGamma) : std::lround(10 * InNumbers(settings.gamma));
  settings.area = area;
  for (size_t i = 0; area && i < area->size(); i++) CheckRange("area", (*area)[i], i < 2 ? 0 : 1, INT32_MAX);
  settings.matrix = matrix;
  settings.even = even;
  return settings;
}

// ---- what a correction tells ----

py::list Reasons(const Correction& correction) {
  const py::object reason = py::module_::import("zep3").attr("Reason");
  py::list reasons;
  for (int64_t i = 0; const ZEP3_REASON* found = GetZEP3Reason(i); i++) {
    if ((correction.evidence.lReasons & found->lBit) != 0) {
      reasons.append(reason(found->pCode, found->pText, found->pSentence));
    }
  }
  return reasons;
}

py::dict Evidence(const Correction& correction) {
  py::dict evidence;
  for (int64_t i = 0; const ZEP3_EVIDENCE_ITEM* item = GetZEP3EvidenceItem(i); i++) {
    double values[ZEP3_EVIDENCE_COUNT_MAX];
    const int64_t count = GetZEP3Evidence(&correction.evidence, item->pName, values);
    if (count == 1) evidence[item->pName] = values[0];
    if (count > 1) evidence[item->pName] = py::tuple(py::cast(std::vector<double>(values, values + count)));
  }
  return evidence;
}

py::dict Measurements() {
  const py::object measurement = py::module_::import("zep3").attr("Measurement");
  py::dict all;
  for (int64_t i = 0; const ZEP3_EVIDENCE_ITEM* item = GetZEP3EvidenceItem(i); i++) {
    all[item->pName] = measurement(item->pLabel, item->pUnit, item->pText, item->lCount);
  }
  return all;
}

using Corners = std::array<std::pair<double, double>, 4>;

std::optional<Corners> CornersOf(const double (&corners)[4][2], bool there) {
  if (!there) return std::nullopt;
  Corners places;
  for (size_t i = 0; i < places.size(); i++) places[i] = {corners[i][0], corners[i][1]};
  return places;
}

using Curve = std::vector<std::pair<int64_t, int64_t>>;

Curve CurveOf(const ZEP3_TONE& tone) {
  Curve curve;
  for (int i = 0; i < tone.wPointNum && i < ZEP3_TONE_POINTS; i++)
    curve.emplace_back(tone.ptCtrl[i].x, tone.ptCtrl[i].y);
  return curve;
}

void SetCurve(ZEP3_TONE& tone, const Curve& curve) {
  CheckRange("the number of a curve's points", static_cast<int64_t>(curve.size()), 2, ZEP3_TONE_POINTS);
  ZEP3_TONE changed = tone;
  changed.wPointNum = static_cast<int16_t>(curve.size());
  for (size_t i = 0; i < curve.size(); i++) {
    const auto [x, y] = curve[i];
    CheckRange("a level of a curve", x, i == 0 ? 0 : curve[i - 1].first + 1, 255);
    CheckRange("a level of a curve", y, 0, 255);
    changed.ptCtrl[i] = {x, y};
  }
  tone = changed;
}

void GrayBalance(Correction& correction, const Triple& colour, int64_t strength) {
  for (const int64_t level : colour) CheckRange("a level of the colour", level, 0, 255);
  CheckRange("strength", strength, 0, 100);
  Record changed = correction.record;
  GetGrayBalance(&changed.para, {colour[0], colour[1], colour[2], strength});
  if (const char* wrong = CheckZEP3(ZEP3_CALL_TABLES, nullptr, &changed.para,
                                    correction.matrix ? correction.matrix->data() : nullptr)) {
    throw py::value_error(wrong);
  }
  correction.record = changed;
}

void GammaPipette(Correction& correction, Triple colour) {
  for (const int64_t level : colour) CheckRange("a level of the colour", level, 0, 255);
  GetGamma(colour.data(), &correction.record.para);
}

std::string Representation(const Correction& correction) {
  constexpr const char* kVerdicts[] = {"not checked", "good", "look", "failed"};
  const std::string kind = KindName(correction.record.para);
  return "<zep3.Correction of a " + kind + ", " + std::to_string(correction.width) + " x " +
         std::to_string(correction.height) + " pixels: " + kVerdicts[correction.evidence.lVerdict & 3] + ">";
}

// ---- plain records as bytes, to be kept and sent ----

template <class T>
T FromBytes(const py::bytes& bytes) {
  static_assert(std::is_trivially_copyable_v<T>);
  const std::string_view from = bytes;
  if (from.size() != sizeof(T)) throw py::value_error("not the bytes of such a record");
  T record;
  std::memcpy(&record, from.data(), sizeof record);
  return record;
}

template <class T>
void DefinePlain(py::class_<T>& type) {
  const auto bytes = [](const T& record) { return py::bytes(reinterpret_cast<const char*>(&record), sizeof record); };
  type.def(
      "__eq__", [](const T& a, const T& b) { return std::memcmp(&a, &b, sizeof a) == 0; }, py::is_operator());
  type.def(py::pickle(bytes, &FromBytes<T>));
}

std::pair<py::object, std::vector<int64_t>> Solve(const std::vector<ZEP3_OBSERVATION>& seen) {
  std::vector<int64_t> members(seen.size());
  ZEP3_SHARED shared;
  bool solved = false;
  {
    const py::gil_scoped_release release;
    solved = SolveZEP3Shared(seen.data(), static_cast<int64_t>(seen.size()), &shared, members.data()) == 1;
  }
  return {solved ? py::cast(shared) : py::none(), members};
}

py::array Gray(const py::array& array, const Correction* page, const std::array<int64_t, 2>& at) {
  const bool evened = page != nullptr && page->paper;
  const ScanArray scan = evened ? CopyToWrite(array, py::none()) : ToRead(array);
  if (evened) page->LightenMarker(scan, at);
  const py::ssize_t sides[] = {array.shape(0), array.shape(1)};
  py::array result(scan.array.dtype(), std::vector<py::ssize_t>(sides, sides + 2));
  ZEP3_BmpInfo gray;
  SetZEP3Image(&gray, result.mutable_data(), scan.image.lWidth, scan.image.lHeight, 0, ZEP3_PIXEL_GRAY,
               scan.image.lBitCount);
  bool made = false;
  {
    const py::gil_scoped_release release;
    made = MakeZEP3Gray(&scan.image, &gray) == 1;
  }
  if (!made) throw std::bad_alloc();
  return result;
}

template <class T, class Get, class Set>
void DefineCurve(py::class_<T>& type, const char* name, Get get, Set tone, const char* doc) {
  type.def_property(
      name, [get](const Correction& correction) { return CurveOf(get(correction)); },
      [tone](Correction& correction, const Curve& curve) { SetCurve(tone(correction), curve); }, doc);
}

void DefinePoints(py::module_& module) {
  py::class_<ZEP3_POINTS>(
      module, "Points",
      "The correction of one channel: the scan's level highlight_in becomes highlight_out, shadow_in "
      "becomes shadow_out, and a power curve runs through both.\n\nLevels are 16-bit levels, 0 to 65535, "
      "in the result's gamma; of negatives highlight_in and shadow_in stand on the inverted scale, that "
      "of the positive picture.")
      .def_readwrite("highlight_in", &ZEP3_POINTS::lHlIn, "Highlight input, 16-bit level.")
      .def_readwrite("shadow_in", &ZEP3_POINTS::lSdIn, "Shadow input, 16-bit level.")
      .def_readwrite("highlight_out", &ZEP3_POINTS::lHlOut, "Highlight output, 16-bit level.")
      .def_readwrite("shadow_out", &ZEP3_POINTS::lSdOut, "Shadow output, 16-bit level; must differ from highlight_out.")
      .def_property(
          "gamma", [](const ZEP3_POINTS& points) { return static_cast<double>(points.lGamma) / 100; },
          [](ZEP3_POINTS& points, double gamma) {
            if (!(gamma >= 0.01 && gamma <= 100)) throw py::value_error("gamma lies outside of 0.01 to 100");
            points.lGamma = std::lround(gamma * 100);
          },
          "Exponent 1 / gamma of the power curve; above 1 the middle becomes lighter. Kept in hundredths.")
      .def("__repr__", [](const ZEP3_POINTS& points) {
        return py::str("Points(highlight_in={}, shadow_in={}, highlight_out={}, shadow_out={}, gamma={})")
            .format(points.lHlIn, points.lSdIn, points.lHlOut, points.lSdOut, static_cast<double>(points.lGamma) / 100);
      });
}

void DefineCorrection(py::module_& module) {
  py::class_<Correction> type(module, "Correction",
                              "What was found for a scan, to be looked at, changed, applied and kept.\n\n"
                              "Changes count from the next call on; judge() checks them against the scan.");
  const auto points = [](size_t channel) {
    return [channel](Correction& correction) -> ZEP3_POINTS& { return correction.record.para.ic.ch[channel]; };
  };
  const auto internal = py::return_value_policy::reference_internal;
  type.def_property_readonly("red", points(0), internal, "Points of the red channel.")
      .def_property_readonly("green", points(1), internal, "Points of the green channel, which gray scans take.")
      .def_property_readonly("blue", points(2), internal, "Points of the blue channel.");
  const auto number = [&](const char* name, auto field, int64_t low, int64_t high, const char* doc) {
    type.def_property(
        name, [field](Correction& correction) { return field(correction.record.para); },
        [field, name, low, high](Correction& correction, int64_t value) {
          CheckRange(name, value, low, high);
          field(correction.record.para) = value;
        },
        doc);
  };
  number(
      "brightness", [](ZEP3_PARA& para) -> int64_t& { return para.ic.lBrightness; }, -1000, 1000,
      "Density steps of 0.003, -1000 to 1000: 100 is one stop lighter.");
  number(
      "contrast", [](ZEP3_PARA& para) -> int64_t& { return para.ic.lContrast; }, -99, 99, "Percent, -99 to 99.");
  number(
      "saturation", [](ZEP3_PARA& para) -> int64_t& { return para.lSaturation; }, -200, 1000,
      "Change of saturation in half percents, proposed by the analysis: chroma is scaled by 1 + saturation / 200. "
      "Monochrome negatives lose all chroma, whatever it is.");
  type.def_property(
      "balance",
      [](const Correction& correction) {
        const ZEP3_IC& ic = correction.record.para.ic;
        return std::make_tuple(ic.lColorBalanceR, ic.lColorBalanceG, ic.lColorBalanceB);
      },
      [](Correction& correction, const Triple& balance) {
        for (const int64_t channel : balance) CheckRange("balance", channel, -1000, 1000);
        ZEP3_IC& ic = correction.record.para.ic;
        ic.lColorBalanceR = balance[0];
        ic.lColorBalanceG = balance[1];
        ic.lColorBalanceB = balance[2];
      },
      "Added to the brightness of red, green and blue; density steps of 0.003.");
  DefineCurve(
      type, "master_curve", [](const Correction& c) { return c.record.master; },
      [](Correction& c) -> ZEP3_TONE& { return c.record.master; },
      "Tone curve of all channels: 2 to 16 points (input, output) of display levels, 0 to 255; the inputs rise. "
      "[(0, 0), (255, 255)] changes nothing.");
  constexpr const char* kCurves[] = {"red_curve", "green_curve", "blue_curve"};
  for (size_t i = 0; i < 3; i++) {
    DefineCurve(
        type, kCurves[i], [i](const Correction& c) { return c.record.rgb[i]; },
        [i](Correction& c) -> ZEP3_TONE& { return c.record.rgb[i]; },
        "Tone curve of one channel, before master_curve.");
  }
  type.def_property_readonly(
          "kind", [](const Correction& c) { return EnumMember("Kind", KindName(c.record.para)); },
          "Kind of original, zep3.Kind.")
      .def_property_readonly(
          "level", [](const Correction& c) { return c.record.para.lCorrectLevel; },
          "Strength with which the scan was analysed, 0 to 9.")
      .def_property_readonly(
          "backlight", [](const Correction& c) { return c.record.para.lAgainstLight; },
          "Strength of the backlight correction with which the scan was analysed, eighths.")
      .def_property_readonly(
          "gamma", [](const Correction& c) { return InNumbers(c.gamma); }, "Gamma of the scan's values; 2.2 for sRGB.")
      .def_property_readonly(
          "output_gamma", [](const Correction& c) { return static_cast<double>(c.record.para.lScreenGamma) / 10; },
          "Gamma of the result's values.")
      .def_property_readonly(
          "size", [](const Correction& c) { return std::make_pair(c.width, c.height); },
          "Width and height of the scan that was analysed, pixels.")
      .def_property_readonly(
          "evened", [](const Correction& c) { return c.paper.has_value(); },
          "Whether a page is evened by its paper. Such a correction belongs to its scan alone.")
      .def_property_readonly(
          "analysis",
          [](const Correction& c) { return c.evidence.lAnalysis == ZEP3_ANALYSIS_STANDARD ? "standard" : "adaptive"; },
          "Which analysis decided: \"adaptive\" or \"standard\".")
      .def_property_readonly(
          "confidence", [](const Correction& c) { return c.evidence.dConfidence; },
          "0 to 1: the chance that the result is nearer to the original than the scan, and within twice the error that "
          "is usual for the kind; 0 where the standard analysis decided.")
      .def_property_readonly(
          "verdict",
          [](const Correction& c) {
            constexpr const char* kNames[] = {"none", "good", "look", "failed"};
            return EnumMember("Verdict", kNames[c.evidence.lVerdict & 3]);
          },
          "zep3.Verdict of the result against the scan.")
      .def_property_readonly(
          "member",
          [](const Correction& c) {
            constexpr const char* kNames[] = {"none", "shared", "odd", "blank", "single"};
            return EnumMember("Member", kNames[static_cast<int>(c.member)]);
          },
          "zep3.Member: whether the scan belongs to its roll or box.")
      .def_property_readonly("reasons", &Reasons,
                             "What the analysis met, and the checks that failed: zep3.Reason each.")
      .def_property_readonly(
          "evidence", &Evidence,
          "What the analysis measured, by name: a number, or three of red, green, blue, or two of red, "
          "blue. zep3.measurements() has units and meanings.")
      .def_property_readonly(
          "window", [](const Correction& c) { return CornersOf(c.evidence.dWindow, c.evidence.dWindowConfidence > 0); },
          "Where the picture lies in what is around it: its top left, top right, bottom right and bottom left corner, "
          "(x, "
          "y) in pixels of the scan. None where it fills the scan, or was not found.")
      .def_property_readonly(
          "window_confidence", [](const Correction& c) { return c.evidence.dWindowConfidence; },
          "0 to 1: how sure it is that this is the picture; below 0.5 do not cut.")
      .def_property_readonly(
          "sheet",
          [](const Correction& c) {
            const auto& paper = c.evidence.dPaper;
            return CornersOf(paper, paper[2][0] > paper[0][0]);
          },
          "Corners of a print with the white border around its picture, as of window; None without a border.")
      .def_property_readonly(
          "frames", [](const Correction& c) { return c.evidence.lFrames; },
          "Pictures that the scan shows whole, the one of the window among them; 0 without a window.")
      .def("judge", &Correction::Judge, "scan"_a,
           "Holds the correction, as it has been changed, against its scan: sets verdict and reasons.")
      .def("gray_balance", &GrayBalance, "colour"_a, "strength"_a = 100,
           "Moves the points so that a colour comes out gray. colour: red, green, blue of the scan before the "
           "correction, "
           "display levels 0 to 255 in output_gamma; of a negative, what the inverted scan shows. strength: percent.")
      .def("gamma_pipette", &GammaPipette, "colour"_a,
           "Sets the gammas so that a colour comes out gray; nothing where it lies outside of what all channels reach.")
      .def("_tables", &Correction::Tables, "bits"_a)
      .def("_apply", &Correction::Apply, "scan"_a, "out"_a, "saturation"_a, "at"_a)
      .def("__copy__", [](const Correction& c) { return Correction(c); })
      .def(
          "__deepcopy__", [](const Correction& c, const py::dict&) { return Correction(c); }, "memo"_a)
      .def("__repr__", &Representation);
}

} // namespace

PYBIND11_MODULE(_core, module) {
  module.doc() = "The library under zep3.";

  std::vector<std::pair<std::string, std::string>> kinds;
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++)
    kinds.emplace_back(MemberName(kind->pName), kind->pName);
  const py::object kindType = MakeEnum(module, "Kind", kinds, "What was scanned.");
  MakeEnum(
      module, "Verdict", {{"NONE", "none"}, {"GOOD", "good"}, {"LOOK", "look"}, {"FAILED", "failed"}},
      "What speaks against a result: GOOD: nothing. LOOK: somebody should look, reasons say why. FAILED: the scan is "
      "blank or clipped, and got default points. NONE: it was not checked.");
  MakeEnum(
      module, "Member",
      {{"NONE", "none"}, {"SHARED", "shared"}, {"ODD", "odd"}, {"BLANK", "blank"}, {"SINGLE", "single"}},
      "Whether a scan belongs to its roll or box. SHARED: it does. ODD: it is unlike the others and was analysed by "
      "itself. BLANK: nothing is on it. SINGLE: too few belong together, each was analysed by itself. NONE: it is of "
      "no roll.");

  DefinePoints(module);
  DefineCorrection(module);

  py::class_<ZEP3_OBSERVATION> observation(module, "Observation",
                                           "What a scan says of its roll or box. Can be pickled.");
  DefinePlain(observation);
  py::class_<ZEP3_SHARED> shared(
      module, "Shared",
      "What the frames of a roll, or the originals of a box, share. Can be pickled, and used "
      "for later scans of the same film in the same setting of the scanner.");
  DefinePlain(shared);
  shared.def_readonly("frames", &ZEP3_SHARED::lFrames, "Scans that were observed.")
      .def_readonly("members", &ZEP3_SHARED::lMembers, "Scans that belong.");

  py::class_<Settings>(module, "Settings",
                       "How scans are to be corrected: checked once, for any number of scans and threads.")
      .def(py::init(&MakeSettings), "kind"_a, py::kw_only(), "gamma"_a = py::none(), "icc"_a = py::none(),
           "output_gamma"_a = py::none(), "analysis"_a = py::none(), "level"_a = 4, "backlight"_a = 0,
           "brightness"_a = 0, "contrast"_a = 0, "balance"_a = Triple{0, 0, 0}, "area"_a = py::none(),
           "matrix"_a = py::none(), "plain"_a = false, "even"_a = true)
      .def_property_readonly("kind", [](const Settings& s) { return EnumMember("Kind", KindName(s.record.para)); })
      .def("analyse", &Settings::Analyse, "scan"_a, "shared"_a = py::none(), "in_roll"_a = false)
      .def("observe", &Settings::Observe, "scan"_a);

  module.def("solve", &Solve, "seen"_a);
  module.def("measurements", &Measurements, "What the analyses measure: zep3.Measurement by name.");
  module.def(
      "kind_text",
      [](const std::string& kind) -> std::optional<std::string> {
        const ZEP3_KIND* found = FindZEP3Kind(kind.c_str());
        return found == nullptr ? std::nullopt : std::optional<std::string>(found->pText);
      },
      "kind"_a, "What was scanned, in a line; None for an unknown kind.");
  module.def("gray", &Gray, "scan"_a, "page"_a = nullptr, py::kw_only(), "at"_a = std::array<int64_t, 2>{0, 0},
             "One gray channel of an array's colours, (height, width): their luma by the weights of sRGB.\n\n"
             "page  the Correction whose result the array is, where that evened a page: marker on it becomes half as "
             "dark, for\n      programs that read; pictures on it do not.\n"
             "at    for a piece of it: where its first pixel lies in the scan, x and y.");
  module.def(
      "profile_gamma", &GammaOfProfile, "icc"_a,
      "The gamma of an ICC profile's curves, in tenths; None where the bytes are no profile or tell no gamma between\n"
      "0.5 and 5. 2.2 for sRGB, which analyse() reads more exactly where it is given the profile itself, as icc.");
}
