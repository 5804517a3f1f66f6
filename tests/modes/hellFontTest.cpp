// The font of the waterfall against a copy of its own.
#include "modes/hellFont.h"
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace larch::test {
namespace {

// Width and columns without the empty ones at the end, from a blank to 127.
constexpr const char* copy =
    "5 5F2 3E000E0 528FE28FE28 52454FE5448 5C4C8102646 56C92AA440A 2A0C0 3384482 3824438 528107C1028 510107C1010 20506 "
    "51010101010 20606 50408102040 57C8A92A27C 342FE02 542868A9262 58482A2D28C 5182848FE08 5E4A2A2A29C 53C5292920C 5808E90A0C0 "
    "56C9292926C 56092929478 26C6C 26A6C 410284482 52828282828 482442810 540808A9060 54C929E827C 57E9090907E 5FE9292926C "
    "57C82828244 5FE82824438 5FE92929282 5FE90909080 57C82828A4C 5FE101010FE 382FE82 5040282FC80 5FE10284482 5FE02020202 "
    "5FE403040FE 5FE201008FE 57C8282827C 5FE90909060 57C828A847A 5FE90989462 5629292928C 58080FE8080 5FC020202FC 5E0180618E0 "
    "5FE041804FE 5C6281028C6 5E0100E10E0 5868A92A2C2 110 54020100804 3101010 52040804020 50202020202 5804020 5042A2A2A1E "
    "5FE1212120C 51C22222222 50C121212FE 51C2A2A2A1A 4107E9040 5182525253E 5FE1010100E 19E 40201019E 500FE081422 1FE "
    "53E2018203E 5201E20201E 51C2222221C 53F24242418 5182424243F 5201E202010 5102A2A2A04 420FC2224 53C0202023C 53804020438 "
    "53C020C023C 52214081422 5380505053E 522262A3222 110 1EE 3101010 460909060 5A8683E68A8";

std::vector<std::vector<int>> glyphsOfTheCopy() {
  std::vector<std::vector<int>> glyphs;
  std::istringstream words(copy);
  for (std::string word; words >> word;) {
    std::vector<int> glyph{word[0] - '0'};
    for (size_t at = 1; at < word.size(); at += 2) glyph.push_back(std::stoi(word.substr(at, 2), nullptr, 16));
    glyph.resize(6, 0);
    glyphs.push_back(glyph);
  }
  return glyphs;
}

std::vector<int> valuesOf(const hellGlyph& g) {
  std::vector<int> values{g.width};
  values.insert(values.end(), g.column.begin(), g.column.end());
  return values;
}

uint64_t checksum(uint64_t sum, const std::vector<int>& values) {
  for (const int v : values) sum = (sum ^ static_cast<uint64_t>(v)) * 1099511628211u; // FNV-1a
  return sum;
}

TEST(hellFontTest, everyGlyphIsItsPicture) {
  const auto wanted = glyphsOfTheCopy();
  ASSERT_EQ(wanted.size(), 96u);
  uint64_t ours = 14695981039346656037u, theirs = ours;
  for (int c = 32; c < 128; c++) {
    const auto& glyph = wanted[static_cast<size_t>(c - 32)];
    EXPECT_EQ(valuesOf(glyphOf(static_cast<char>(c))), glyph) << static_cast<char>(c);
    ours = checksum(ours, valuesOf(glyphOf(static_cast<char>(c))));
    theirs = checksum(theirs, glyph);
  }
  EXPECT_EQ(ours, theirs);
}

TEST(hellFontTest, columnsBeyondTheWidthAreEmpty) {
  for (int c = 32; c < 128; c++) {
    const hellGlyph& g = glyphOf(static_cast<char>(c));
    ASSERT_GE(g.width, 1);
    ASSERT_LE(g.width, hellGlyph::columns);
    for (size_t k = g.width; k < hellGlyph::columns; k++) EXPECT_EQ(g.column[k], 0) << static_cast<char>(c);
  }
}

TEST(hellFontTest, whatHasNoGlyphIsABlank) {
  for (int c = 0; c < 256; c++)
    if (c < 32 || c > 127) {
      EXPECT_EQ(&glyphOf(static_cast<char>(c)), &glyphOf(' ')) << c;
    }
}

} // namespace
} // namespace larch::test
