// The parsers of command-line arguments on any text: a UsageError, or what the argument's description promises.
#include "command/arguments.h"

#include <cmath>
#include <string>

#include "failure.h"
#include "files/formats.h"
#include "target.h"

namespace {

template <typename Parse>
bool IsRead(Parse parse) {
  return IsTaken<UsageError>(parse, "expected");
}

bool IsFinite(const Position& at) { return std::isfinite(at.x.value) && std::isfinite(at.y.value); }

} // namespace

void RunTarget(Input input) {
  auto text = std::string(input.Text());
  text.resize(std::min(text.size(), text.find('\0'))); // arguments are C strings
  AreaArgument area;
  if (IsRead([&] { area = ParseArea(text); })) {
    ZEP3_HOLDS(area.corners.size() == 2 && area.corners[1].x.value > 0 && area.corners[1].y.value > 0);
  } else {
    ZEP3_HOLDS(area.corners.empty());
  }
  if (IsRead([&] { area = ParseCorners(text); })) ZEP3_HOLDS(area.corners.size() == 4);
  for (const Position& corner : area.corners) ZEP3_HOLDS(IsFinite(corner));

  for (const bool withStrength : {false, true}) {
    PipetteArgument pipette;
    if (!IsRead([&] { pipette = ParsePipette(text, withStrength); })) continue;
    ZEP3_HOLDS(IsFinite(pipette.at) && 0 <= pipette.strength && pipette.strength <= 100);
    ZEP3_HOLDS(withStrength || pipette.strength == 100);
  }

  ZEP3_TONE tone;
  if (IsRead([&] { tone = ParseCurve(text); })) {
    ZEP3_HOLDS(2 <= tone.wPointNum && tone.wPointNum <= ZEP3_TONE_POINTS);
    for (int i = 0; i < tone.wPointNum; i++) {
      const LPOINT& p = tone.ptCtrl[i];
      ZEP3_HOLDS(0 <= p.x && p.x <= 255 && 0 <= p.y && p.y <= 255 && (i == 0 || p.x > tone.ptCtrl[i - 1].x));
    }
  }

  std::array<double, 9> matrix;
  if (IsRead([&] { matrix = ParseMatrix(text); })) {
    for (const double m : matrix) ZEP3_HOLDS(std::abs(m) <= 1e6);
  }
  std::array<int64_t, 3> balance;
  if (IsRead([&] { balance = ParseBalance(text); })) {
    for (const int64_t b : balance) ZEP3_HOLDS(std::abs(b) <= 1000);
  }
  int gamma;
  if (IsRead([&] { gamma = ParseGamma(text); })) ZEP3_HOLDS(5 <= gamma && gamma <= 50);

  const NameWithOptions name = SplitOptions(text);
  ZEP3_HOLDS(name.name + name.options == text && (text.empty() || !name.name.empty()));
  const std::string joined = JoinOptions({{"Q", "95"}, {"tile-width", "64"}}, name.options);
  ZEP3_HOLDS(joined.starts_with('[') && joined.ends_with(']'));
}
