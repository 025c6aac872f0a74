// Calls on distinct records at the same time: run under ThreadSanitizer, too.
#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

#include "support.h"

namespace {

struct Job {
  int type, subMode;
};
constexpr Job kJobs[] = {{0, 0}, {0, 2}, {1, 0}, {1, 2}, {2, 0}, {2, 1}, {2, 2}, {2, 3}, {2, 4}, {3, 0}, {3, 2}};

struct Results {
  std::array<int64_t, 15> points = {};
  std::array<uint8_t, 768> table = {};
  std::vector<uint16_t> deep = std::vector<uint16_t>(3 * 65536);
  std::array<double, 9> matrix = {};
  std::vector<uint8_t> pixels;
  int answers = 0;

  bool operator==(const Results&) const = default;
};

// Every exported call, on a record of its own. The image being analysed, the matrix and the pick are everybody's.
Results RunAll(const Job& job, const ZEP3_BmpInfo& scan) {
  static const double kMatrix[9] = {0.9, 0.1, 0, 0, 1.1, -0.1, 0, 0, 1.05};
  Results results;
  Record r(job.type, job.subMode);
  r.para.lAgainstLight = 4;
  ZEP3_BmpInfo bmp = scan;
  auto* matrix = const_cast<double*>(kMatrix);
  results.answers += ZEP3(&bmp, &r.para, matrix);
  results.answers += GetGrayBalance(&r.para, {120, 110, 100, 50});
  int64_t pick[3] = {120, 110, 100};
  results.answers += GetGamma(pick, &r.para);
  const int64_t wanted[3] = {130, 110, 100};
  results.answers += AdjustSpecifiedColor(&r.para, pick, wanted, kMatrix, nullptr);
  results.answers += MakeZEP3LUTEx(&r.para, matrix, results.table.data());
  results.answers += MakeZEP3LUT16(&r.para, kMatrix, results.deep.data());
  results.answers += ColorMatrixConv(&r.para, matrix, results.matrix.data());
  results.points = r.Points();
  Image image(64, 3);
  image.Fill([](int x, int y, int c) { return 4 * x + 30 * y + c; });
  results.answers += ApplyZEP3LUT(&image.bmp, results.table.data());
  results.pixels = image.pixels;
  return results;
}

TEST(Concurrency, DistinctRecordsGiveWhatTheyGiveAlone) {
  Image scan(300, 220);
  scan.Fill([](int x, int y, int c) { return 40 + x / 2 + 10 * c + Noise(3 * (300 * y + x) + c, 2) / 8; });
  std::vector<Results> alone;
  for (const Job& job : kJobs) alone.push_back(RunAll(job, scan.bmp));
  EXPECT_EQ(alone[4].answers, 8);

  constexpr size_t kThreads = 8, kRounds = 3;
  std::vector<std::vector<size_t>> wrong(kThreads);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; t++) {
    threads.emplace_back([&, t] {
      for (size_t n = 0; n < kRounds * std::size(kJobs); n++) {
        const size_t job = (n + t) % std::size(kJobs);
        if (!(RunAll(kJobs[job], scan.bmp) == alone[job])) wrong[t].push_back(job);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& jobs : wrong) EXPECT_TRUE(jobs.empty()) << "job " << jobs.front();
}

} // namespace
