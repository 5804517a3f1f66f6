#include "sim/sceneWords.h"
#include <cctype>
#include <cmath>
#include <stdexcept>

namespace larch::sim {

std::vector<std::string> splitLine(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false, begun = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
      begun = true;
    } else if (!quoted && c == '#') {
      break;
    } else if (!quoted && std::isspace(static_cast<unsigned char>(c)) != 0) {
      if (begun) words.push_back(std::move(word));
      word.clear();
      begun = false;
    } else {
      word += c;
      begun = true;
    }
  }
  if (quoted) throw std::runtime_error("a quotation mark is missing");
  if (begun) words.push_back(std::move(word));
  return words;
}

double parseNumber(const std::string& text) {
  size_t used = 0;
  double v = 0;
  try {
    v = std::stod(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used == 0 || used != text.size() || !std::isfinite(v)) throw std::runtime_error("no number: " + text);
  return v;
}

std::vector<std::string> splitAtCommas(const std::string& text) {
  std::vector<std::string> parts(1);
  for (const char c : text)
    if (c == ',')
      parts.emplace_back();
    else
      parts.back() += c;
  return parts;
}

wordSet::wordSet(const std::vector<std::string>& words, size_t first) {
  for (size_t i = first; i < words.size(); ++i) {
    const size_t at = words[i].find('=');
    if (at == std::string::npos) throw std::runtime_error("not understood: " + words[i]);
    values[words[i].substr(0, at)] = words[i].substr(at + 1);
  }
}

std::string wordSet::take(const std::string& key, const std::string& otherwise) {
  const auto it = values.find(key);
  if (it == values.end()) return otherwise;
  std::string v = it->second;
  values.erase(it);
  return v;
}

double wordSet::take(const std::string& key, double otherwise) {
  const std::string v = take(key, std::string());
  return v.empty() ? otherwise : parseNumber(v);
}

bool wordSet::takeYes(const std::string& key) {
  const std::string v = take(key, std::string("no"));
  if (v != "yes" && v != "no") throw std::runtime_error("not understood: " + key + "=" + v);
  return v == "yes";
}

void wordSet::finish() const {
  if (!values.empty()) throw std::runtime_error("not understood: " + values.begin()->first);
}

} // namespace larch::sim
