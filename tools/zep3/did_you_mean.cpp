#include "did_you_mean.h"

#include <algorithm>
#include <cstddef>

namespace {

// Steps from one word to another, each a letter put in, left out, replaced, or swapped with the next (the distance of
// Damerau and Levenshtein, no letter being changed twice).
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<size_t>> steps(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); i++) {
    for (size_t j = 0; j <= b.size(); j++) {
      if (i == 0 || j == 0) {
        steps[i][j] = i + j;
        continue;
      }
      const bool same = a[i - 1] == b[j - 1];
      steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + (same ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
    }
  }
  return steps[a.size()][b.size()];
}

constexpr size_t kLongest = 40;       // letters; what is longer was never meant for a word
constexpr size_t kLettersAStep = 3;   // of the typed word, for each step that may be wrong
constexpr size_t kLeastBeginning = 3; // letters that say enough of a word

} // namespace

std::string NearestWord(std::string_view typed, const std::vector<std::string>& words) {
  if (typed.empty() || typed.size() > kLongest) return "";
  const std::string* nearest = nullptr;
  size_t least = std::max<size_t>(1, typed.size() / kLettersAStep) + 1;
  for (const std::string& word : words) {
    const bool begins = typed.size() >= kLeastBeginning && word.starts_with(typed);
    const size_t distance = begins ? 1 : Distance(typed, word);
    if (distance < least && distance < word.size()) nearest = &word, least = distance;
  }
  return nearest == nullptr ? "" : *nearest;
}

std::string DidYouMean(std::string_view typed, const std::vector<std::string>& words) {
  const std::string nearest = NearestWord(typed, words);
  return nearest.empty() ? "" : std::string("; did you mean ").append(nearest).append("?");
}

std::string ExpectedOneOf(std::string_view typed, const std::vector<std::string>& words) {
  std::string text("'");
  text.append(typed).append("': expected ");
  for (size_t i = 0; i < words.size(); i++) {
    if (i > 0) text.append(i + 1 == words.size() ? " or " : ", ");
    text.append(words[i]);
  }
  return text.append(DidYouMean(typed, words));
}
