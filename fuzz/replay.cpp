// Runs a target without a fuzzer: on every input of its corpus (a line each, in hexadecimal), then on random ones, the
// same in every run.
//
//   replay_TARGET CORPUS COUNT
#include <algorithm>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "target.h"

namespace {

// An array of exactly the length, so that a byte behind it is seen.
void Run(const std::vector<uint8_t>& bytes) {
  const auto exact = std::make_unique<uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), exact.get());
  RunTarget(Input(exact.get(), bytes.size()));
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s CORPUS COUNT\n", argv[0]);
    return 2;
  }
  std::ifstream corpus(argv[1]);
  int inputs = 0;
  for (std::string line; std::getline(corpus, line); inputs++) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i + 1 < line.size(); i += 2) {
      bytes.push_back(static_cast<uint8_t>(std::stoi(line.substr(i, 2), nullptr, 16)));
    }
    Run(bytes);
  }
  if (inputs == 0) {
    std::fprintf(stderr, "%s: no inputs\n", argv[1]);
    return 1;
  }
  std::mt19937_64 random(6);
  const long count = std::strtol(argv[2], nullptr, 10);
  for (long n = 0; n < count; n++) {
    std::vector<uint8_t> bytes(random() % 2000);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
    Run(bytes);
  }
  std::printf("%d inputs of the corpus, %ld random ones, results %016llx\n", inputs, count,
              static_cast<unsigned long long>(g_digest));
  return 0;
}
