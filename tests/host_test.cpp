// What the process around it does is nothing to the engine: calls on distinct records at the same time (run under
// ThreadSanitizer, too), and floating-point environments of the host.
#include <gtest/gtest.h>

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
constexpr Job kJobs[] = {{0, 0}, {0, 2}, {0, ZEP3_SUB_DOCUMENT}, {1, 0}, {1, 2}, {2, 0}, {2, 1}, {2, 2}, {2, 3}, {2, 4},
                         {3, 0}, {3, 2}};

using Bytes = std::vector<uint8_t>;

// Whatever the exported calls give, on records of their own. The image being analysed, the matrix and the pick are
// everybody's.
Bytes RunAll(const Job& job, const ZEP3_BmpInfo& scan) {
  static const double kMatrix[9] = {0.9, 0.1, 0, 0, 1.1, -0.1, 0, 0, 1.05};
  Bytes results;
  const auto keep = [&](const auto& result) {
    const auto* first = reinterpret_cast<const uint8_t*>(&result);
    results.insert(results.end(), first, first + sizeof result);
  };
  Record r(job.type, job.subMode), finish(job.type, job.subMode);
  r.para.lAgainstLight = 4;
  ZEP3_BmpInfo bmp = scan;
  auto* matrix = const_cast<double*>(kMatrix);
  keep(ZEP3(&bmp, &r.para, matrix));
  keep(GetGrayBalance(&r.para, {120, 110, 100, 50}));
  int64_t pick[3] = {120, 110, 100};
  keep(GetGamma(pick, &r.para));
  const int64_t wanted[3] = {130, 110, 100};
  keep(AdjustSpecifiedColor(&r.para, pick, wanted, kMatrix, nullptr));
  uint8_t table[768];
  keep(MakeZEP3LUTEx(&r.para, matrix, table));
  keep(table);
  double converted[9];
  keep(ColorMatrixConv(&r.para, matrix, converted));
  keep(converted);
  keep(r.Points());
  Image image(64, 48);
  FillPicture(image);
  ZEP3_EVIDENCE evidence;
  keep(FinishZEP3(&image.bmp, 22, 1, &finish.para, matrix, &evidence));
  keep(finish.Points());
  keep(JudgeZEP3(&image.bmp, &finish.para, matrix, &evidence));
  keep(evidence.dConfidence);
  keep(evidence.lReasons);
  results.insert(results.end(), image.pixels.begin(), image.pixels.end());
  ZEP3_OBSERVATION seen[4] = {};
  ZEP3_SHARED shared = {};
  int64_t member[4] = {};
  Record roll(job.type, job.subMode);
  keep(ObserveZEP3(&scan, &roll.para, matrix, seen));
  keep(seen[0]);
  std::fill_n(seen + 1, 3, seen[0]);
  keep(SolveZEP3Shared(seen, 4, &shared, member));
  keep(shared);
  keep(ZEP3Shared(&bmp, &roll.para, matrix, &shared, &evidence));
  keep(roll.Points());
  return results;
}

TEST(Concurrency, DistinctRecordsGiveWhatTheyGiveAlone) {
  Image scan(300, 220);
  FillPicture(scan);
  std::vector<Bytes> alone;
  for (const Job& job : kJobs) alone.push_back(RunAll(job, scan.bmp));

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
  const struct {
    const char* what;
    void (*set)();
  } rows[] = {
      {"downward", [] { std::fesetround(FE_DOWNWARD); }},
      {"upward", [] { std::fesetround(FE_UPWARD); }},
      {"toward zero", [] { std::fesetround(FE_TOWARDZERO); }},
      {"traps", [] { feenableexcept(FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW | FE_UNDERFLOW); }},
      {"flushed to zero", [] { _mm_setcsr(_mm_getcsr() | kFlushToZero); }},
      {"a flag", [] { std::feraiseexcept(FE_DIVBYZERO); }},
  };
  Image scan(300, 220);
  FillPicture(scan);
  for (const Job& job : kJobs) {
    const Bytes expected = RunAll(job, scan.bmp);
    for (const auto& row : rows) {
      std::fenv_t before;
      std::fegetenv(&before);
      row.set();
      const unsigned state = _mm_getcsr();
      const Bytes results = RunAll(job, scan.bmp);
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
