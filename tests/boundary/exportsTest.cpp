// The shared library has the names of exports.txt, with these types, and nothing else.
#include "tests/boundary/prototypes.h"
#include "tests/boundary/testHost.h"
#include <cstdio>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <vector>

using namespace testHost;

namespace {

// What a command writes to both outputs, and whether it succeeded.
std::pair<std::string, bool> run(const std::string& command) {
  std::string out;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) return {"no shell", false};
  char block[4096];
  while (const size_t n = fread(block, 1, sizeof block, pipe)) out.append(block, n);
  return {out, pclose(pipe) == 0};
}
bool have(const std::string& program) { return run("command -v " + program).second; }

std::string libraryPath() {
  Dl_info info{};
  dladdr(reinterpret_cast<void*>(&getUpdates), &info);
  return info.dli_fname;
}

void expectCompiles(const std::string& compiler, const std::string& suffix, const std::string& text) {
  if (!have(compiler.substr(0, compiler.find(' ')))) GTEST_SKIP() << "no " << compiler;
  const std::string path = temporaryPath("header" + suffix);
  std::ofstream(path) << text;
  const auto [out, good] =
      run(compiler + " -Wall -Wextra -Wshadow -pedantic -Werror -fsyntax-only -I " + sourceDir() + "/runtime " + path);
  unlink(path.c_str());
  EXPECT_TRUE(good) << out;
}

} // namespace

TEST(exportsTest, theListHas497Names) {
  std::set<std::string> names;
  for (const auto& p : exports()) names.insert(p.name);
  EXPECT_EQ(exports().size(), 497u);
  EXPECT_EQ(names.size(), 497u);
  EXPECT_EQ(names.count(""), 0u);
}

TEST(exportsTest, theLibraryDefinesTheseNamesAndNothingElse) {
  if (!have("nm")) GTEST_SKIP() << "no nm";
  const auto [out, good] = run("nm -D --defined-only " + libraryPath());
  ASSERT_TRUE(good) << out;
  std::set<std::string> defined, listed;
  std::istringstream lines(out);
  for (std::string address, kind, name; lines >> address >> kind >> name;) defined.insert(name);
  for (const auto& p : exports()) listed.insert(p.name);
  std::string missing, extra;
  for (const auto& n : listed)
    if (!defined.count(n)) missing += n + " ";
  for (const auto& n : defined)
    if (!listed.count(n)) extra += n + " ";
  EXPECT_EQ(missing, "");
  EXPECT_EQ(extra, "");
}

TEST(exportsTest, theHeaderIsC99) {
  expectCompiles("cc -std=c99", ".c", "#include <larchlib.h>\n#include <larchlib.h>\nint main(void) { return 0; }\n");
}

TEST(exportsTest, theHeaderIsCpp) {
  for (const char* standard : {"c++ -std=c++11", "c++ -std=c++20"}) {
    expectCompiles(standard, ".cpp", "#include <larchlib.h>\nint main() { getUpdates(); return 0; }\n");
  }
}

// Each prototype of the list is declared again behind the header: C refuses a second declaration of another type.
TEST(exportsTest, theHeadersTypesAreThoseOfTheList) {
  std::string text = "#include <larchlib.h>\n";
  for (const auto& p : exports()) text += p.text + ";\n";
  expectCompiles("cc -std=c99", ".c", text + "int main(void) { return 0; }\n");
}

TEST(exportsTest, theHeaderDeclaresEachNameOnALineOfItsOwn) {
  std::istringstream lines(contents(sourceDir() + "/runtime/larchlib.h"));
  std::multiset<std::string> declared;
  for (std::string line; std::getline(lines, line);)
    if (line.rfind("LARCH_API ", 0) == 0 && line.back() == ';') declared.insert(parsed(line).name);
  EXPECT_EQ(declared.size(), 497u);
  for (const auto& p : exports()) EXPECT_EQ(declared.count(p.name), 1u) << p.text;
}
