// The list of exports, taken apart.
#pragma once
#include <fstream>
#include <string>
#include <vector>

namespace testHost {

struct prototype {
  std::string text, result, name;
  std::vector<std::string> arguments; // types alone, without names; a callback is one argument
};

inline std::string sourceDir() { return LARCH_SOURCE_FOLDER; }

inline std::string trimmed(const std::string& s) {
  const size_t first = s.find_first_not_of(' ');
  return first == std::string::npos ? "" : s.substr(first, s.find_last_not_of(' ') - first + 1);
}
// "int32_t value" is int32_t; "const char* text" is const char*
inline std::string typeOf(const std::string& argument) {
  const std::string a = trimmed(argument);
  if (a.find("(*)") != std::string::npos) return a;
  const size_t star = a.rfind('*');
  if (star != std::string::npos) return a.substr(0, star + 1);
  return a.substr(0, a.find(' '));
}

inline prototype parsed(const std::string& line) {
  prototype p;
  p.text = line;
  const size_t open = line.find('(');
  const size_t name = line.find_last_of(" *", open) + 1;
  p.name = line.substr(name, open - name);
  p.result = trimmed(line.substr(0, name));
  int depth = 0;
  std::string argument;
  for (const char c : line.substr(open + 1, line.rfind(')') - open - 1)) {
    depth += c == '(' ? 1 : c == ')' ? -1 : 0;
    if (c == ',' && depth == 0) {
      p.arguments.push_back(typeOf(argument));
      argument.clear();
    } else {
      argument += c;
    }
  }
  if (trimmed(argument) != "void") p.arguments.push_back(typeOf(argument));
  return p;
}

inline std::vector<prototype> exports() {
  std::ifstream file(sourceDir() + "/tests/boundary/exports.txt");
  std::vector<prototype> list;
  for (std::string line; std::getline(file, line);)
    if (!line.empty()) list.push_back(parsed(line));
  return list;
}

} // namespace testHost
