// The words of a line of a scene file.
#pragma once
#include <map>
#include <string>
#include <vector>

namespace larch::sim {

// "..." holds blanks together, # begins a comment. Throws std::runtime_error, as all here.
std::vector<std::string> splitLine(const std::string& line);
double parseNumber(const std::string& text);
std::vector<std::string> splitAtCommas(const std::string& text);

// The key=value words of a line; each may be asked for once, and none may be left over.
class wordSet {
 public:
  wordSet(const std::vector<std::string>& words, size_t first);
  std::string take(const std::string& key, const std::string& otherwise);
  double take(const std::string& key, double otherwise);
  bool takeYes(const std::string& key); // no, unless it says yes
  void finish() const;

 private:
  std::map<std::string, std::string> values;
};

} // namespace larch::sim
