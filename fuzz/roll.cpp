// Observations and shared records of any numbers, and any image on a roll.
#include <cmath>
#include <cstddef>
#include <vector>

#include "records.h"
#include "target.h"

namespace {

// Numbers of a record from `from` on: those that a scan has, as often as any at all.
template <class Plain>
void Fill(Input& input, Plain& record, size_t from, double least, double most) {
  auto* bytes = reinterpret_cast<unsigned char*>(&record);
  const bool tame = !input.OneIn(4);
  for (size_t at = from; at + sizeof(double) <= sizeof record; at += sizeof(double)) {
    const double value = tame && !input.OneIn(64) ? least + (most - least) * input.Share() : input.Real();
    std::memcpy(bytes + at, &value, sizeof value);
  }
}

int64_t Code(Input& input, int known) { return input.OneIn(32) ? input.Field() : input.Below(known); }

template <class Plain>
bool IsFinite(const Plain& record, size_t from) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
  for (size_t at = from; at < sizeof record; at += sizeof(double)) {
    double value;
    std::memcpy(&value, bytes + at, sizeof value);
    if (!std::isfinite(value)) return false;
  }
  return true;
}

} // namespace

void RunTarget(Input input) {
  const HostileRecord given(input);
  const HostileImage image(input, false);
  std::array<double, 9> matrix = input.Matrix();
  constexpr size_t kNumbers = offsetof(ZEP3_OBSERVATION, dMatrix), kShared = offsetof(ZEP3_SHARED, dBase);

  std::vector<ZEP3_OBSERVATION> seen(static_cast<size_t>(1 + input.Below(9)));
  const int64_t docType = Code(input, 4), subMode = input.OneIn(2) ? 2 : Code(input, 3);
  const bool film = docType == ZEP3_DOC_NEGATIVE || docType == ZEP3_DOC_NEGATIVE_BW;
  for (ZEP3_OBSERVATION& one : seen) {
    Fill(input, one, kNumbers, film ? 1.0 : -0.1, film ? 255.0 : 3.0);
    one.lDocType = input.OneIn(32) ? Code(input, 5) : docType;
    one.lSubMode = subMode;
    one.lState = input.OneIn(16) ? input.Field() : 1;
    if (!input.OneIn(16)) std::fill_n(one.dMatrix, 3, 1.0);
    if (!input.OneIn(16)) one.dLost = 0.01 * input.Share();
    if (!input.OneIn(16)) one.dPile = input.Share();
  }
  if (ObserveZEP3(&image.bmp, &given.para, matrix.data(), &seen[0]) == 1) ZEP3_HOLDS(IsFinite(seen[0], kNumbers));

  ZEP3_SHARED shared = {};
  std::vector<int64_t> member(seen.size());
  const auto count = static_cast<int64_t>(seen.size());
  if (SolveZEP3Shared(seen.data(), count, &shared, member.data()) == 1) {
    ZEP3_HOLDS(IsFinite(shared, kShared) && 2 <= shared.lMembers && shared.lMembers <= count);
    for (const int64_t m : member) ZEP3_HOLDS(-1 <= m && m <= 1);
    std::reverse(seen.begin(), seen.end());
    ZEP3_SHARED again = {};
    ZEP3_HOLDS(SolveZEP3Shared(seen.data(), count, &again, member.data()) == 1);
    ZEP3_HOLDS(std::memcmp(&again, &shared, sizeof shared) == 0);
  } else if (input.OneIn(2)) {
    Fill(input, shared, kShared, 0.2, 2.0);
    shared.lFrames = shared.lMembers = 4;
  }
  shared.lDocType = given.para.wDocType;
  shared.lSubMode = given.para.wSubMode == ZEP3_SUB_RESTORATION ? 2 : 0;

  HostileRecord record = given;
  HostileImage scan = image;
  ZEP3_EVIDENCE evidence = {};
  if (ZEP3Shared(&scan.bmp, &record.para, matrix.data(), &shared, &evidence) == 1) {
    ZEP3_HOLDS(0.0 <= evidence.dConfidence && evidence.dConfidence <= 1.0);
    ZEP3_HOLDS(IsFinite(evidence, offsetof(ZEP3_EVIDENCE, dMeasured)));
    record.Keep();
  }
  ZEP3_HOLDS(scan == image);
  Keep(shared.dBase, 20);
}
