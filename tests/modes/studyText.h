// Text for the decoder studies, and how far what was read is from what was sent.
#pragma once
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace larch::study {

// Insertions, losses and changes of a character.
inline size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j < row.size(); j++) row[j] = j;
  for (size_t i = 1; i <= a.size(); i++) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j < row.size(); j++) {
      const size_t above = row[j];
      row[j] = std::min({above + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
      diagonal = above;
    }
  }
  return row.back();
}

// Words of 2 to 7 letters. `random` has next() or below(), as sim::randomSource.
template <class Random> std::string randomWords(size_t length, Random& random, char first = 'a') {
  std::string text;
  while (text.size() < length) {
    for (uint64_t n = 2 + random.below(6); n > 0; n--) text += static_cast<char>(first + static_cast<char>(random.below(26)));
    text += ' ';
  }
  text.resize(length);
  if (text.back() == ' ') text.back() = first;
  return text;
}

} // namespace larch::study
