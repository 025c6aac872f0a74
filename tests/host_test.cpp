// What the process around it does is nothing to the engine: calls on distinct records at the same time (run under
// ThreadSanitizer, too), and floating-point environments of the host.
#include <gtest/gtest.h>

#include <array>
#include <cfenv>
#include <thread>
#include <vector>

#include "support.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

struct Job {
  int type, subMode;
};
constexpr Job kJobs[] = {{0, 0}, {0, 2}, {1, 0}, {1, 2}, {2, 0}, {2, 1}, {2, 2}, {2, 3}, {2, 4}, {3, 0}, {3, 2}};

struct Results {
  std::array<int64_t, 15> points = {}, adaptive = {};
  std::array<uint8_t, 768> table = {};
  std::array<double, 9> curves = {}, matrix = {};
  std::vector<uint8_t> pixels, finished;
  double confidence = 0;
  int answers = 0;

  bool operator==(const Results&) const = default;
};

// The exported calls, on records of their own. The image being analysed, the matrix and the pick are everybody's.
Results RunAll(const Job& job, const ZEP3_BmpInfo& scan) {
  static const double kMatrix[9] = {0.9, 0.1, 0, 0, 1.1, -0.1, 0, 0, 1.05};
  static const double kLevels[3] = {0.3, 77.7, 254.9};
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
  results.answers += MakeZEP3LUTAt(&r.para, kMatrix, kLevels, 3, results.curves.data());
  results.answers += ColorMatrixConv(&r.para, matrix, results.matrix.data());
  results.points = r.Points();
  Image image(64, 3), other(64, 48);
  image.Fill([](int x, int y, int c) { return 4 * x + 30 * y + c; });
  results.answers += ApplyZEP3LUT(&image.bmp, results.table.data());
  results.pixels = image.pixels;
  other.Fill([](int x, int y, int c) { return 40 + 2 * x + 10 * c + Noise(3 * (64 * y + x) + c, 4) / 8; });
  Record finish(job.type, job.subMode);
  ZEP3_EVIDENCE evidence;
  results.answers += FinishZEP3(&other.bmp, 22, 1, &finish.para, matrix, &evidence);
  results.finished = other.pixels;
  results.adaptive = finish.Points();
  results.confidence = evidence.dConfidence;
  return results;
}

TEST(Concurrency, DistinctRecordsGiveWhatTheyGiveAlone) {
  Image scan(300, 220);
  scan.Fill([](int x, int y, int c) { return 40 + x / 2 + 10 * c + Noise(3 * (300 * y + x) + c, 2) / 8; });
  std::vector<Results> alone;
  for (const Job& job : kJobs) alone.push_back(RunAll(job, scan.bmp));
  EXPECT_EQ(alone[4].answers, 9);

  constexpr size_t kThreads = 4, kRounds = 2;
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

#if defined(__GLIBC__) && defined(__x86_64__)

// What hosts and their drivers leave behind: another rounding, traps, numbers flushed to zero.
TEST(FloatEnvironment, TheHostsIsNeitherFeltNorChanged) {
  constexpr unsigned kFlushToZero = 0x8040; // of results and of operands, in the processor's register
  struct Row {
    const char* what;
    void (*set)();
  };
  const Row rows[] = {
      {"downward", [] { std::fesetround(FE_DOWNWARD); }},
      {"upward", [] { std::fesetround(FE_UPWARD); }},
      {"toward zero", [] { std::fesetround(FE_TOWARDZERO); }},
      {"traps", [] { feenableexcept(FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW | FE_UNDERFLOW); }},
      {"flushed to zero", [] { _mm_setcsr(_mm_getcsr() | kFlushToZero); }},
      {"a flag", [] { std::feraiseexcept(FE_DIVBYZERO); }},
  };
  Image scan(300, 220);
  scan.Fill([](int x, int y, int c) { return 40 + x / 2 + 10 * c + Noise(3 * (300 * y + x) + c, 2) / 8; });
  for (const Job& job : kJobs) {
    const Results expected = RunAll(job, scan.bmp);
    for (const Row& row : rows) {
      std::fenv_t before;
      std::fegetenv(&before);
      row.set();
      const unsigned state = _mm_getcsr();
      const Results results = RunAll(job, scan.bmp);
      // Nothing by way of numbers that are none: points far outside their range.
      Record r;
      r.SetPoints({-70000, 1, 5, 5, 0});
      r.para.lScreenGamma = 0;
      uint8_t table[768];
      const int made = MakeZEP3LUT(&r.para, table);
      ValueOfScreenGammaConv(-5, &r.para);
      const unsigned after = _mm_getcsr();
      std::fesetenv(&before);
      EXPECT_TRUE(results == expected) << row.what << ", job " << job.type << " " << job.subMode;
      EXPECT_EQ(after, state) << row.what;
      EXPECT_EQ(made, 1);
    }
  }
}

#endif

} // namespace
