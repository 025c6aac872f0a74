// What a front end does with one record, one call after the other: the results are the same when all of it is done
// again, whatever was done in between.
#include "records.h"
#include "target.h"

namespace {

struct Results {
  HostileRecord record;
  std::array<uint8_t, 768> table;
  std::array<double, 9> matrix;
};

Results Run(const HostileRecord& given, const HostileImage& image, std::array<double, 9> matrix,
            const ZEP3_GrayBalance& pick, bool adaptive) {
  Results results = {given, {}, {}};
  ZEP3_PARA& para = results.record.para;
  HostileImage seen = image;
  adaptive ? ZEP3Adaptive(&seen.bmp, &para, matrix.data(), nullptr) : ZEP3(&seen.bmp, &para, matrix.data());
  GetGrayBalance(&para, pick);
  int64_t colour[3] = {pick.lRed, pick.lGreen, pick.lBlue};
  GetGamma(colour, &para);
  const int64_t gray[3] = {colour[1], colour[1], colour[1]};
  AdjustSpecifiedColor(&para, colour, gray, matrix.data(), nullptr);
  ZEP3_HOLDS(MakeZEP3LUTEx(&para, matrix.data(), results.table.data()) == 1);
  ZEP3_HOLDS(ColorMatrixConv(&para, matrix.data(), results.matrix.data()) == 1);
  return results;
}

} // namespace

void RunTarget(Input input) {
  const HostileRecord given(input);
  const HostileImage image(input, false);
  const std::array<double, 9> matrix = input.Matrix();
  const ZEP3_GrayBalance pick = {input.Field(), input.Field(), input.Field(), input.Below(101)};
  const bool adaptive = input.OneIn(2);
  const Results first = Run(given, image, matrix, pick, adaptive);
  const HostileRecord other(input);
  const HostileImage otherImage(input, false);
  Run(other, otherImage, input.Matrix(), pick, !adaptive);
  const Results second = Run(given, image, matrix, pick, adaptive);
  ZEP3_HOLDS(first.record == second.record && first.table == second.table &&
             std::memcmp(&first.matrix, &second.matrix, sizeof first.matrix) == 0);
}
