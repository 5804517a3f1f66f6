#include "sim/sceneReader.h"
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>
#include <fmt/format.h>
#include "sim/sceneStations.h"
#include "sim/sceneWords.h"

namespace larch::sim {

double parseFrequency_Hz(const std::string& text) {
  double factor = 1;
  std::string number = text;
  if (!text.empty() && (text.back() == 'k' || text.back() == 'M')) {
    factor = text.back() == 'k' ? 1e3 : 1e6;
    number.pop_back();
  }
  const double f = parseNumber(number) * factor;
  if (f < 0) throw std::runtime_error("no frequency: " + text);
  return std::round(f * 1e3) / 1e3; // 7.1M is 7100000 and no bit less
}

void readScene(std::istream& text, const std::string& name, const std::string& folder, bandScene& scene) {
  std::string line;
  for (int number = 1; std::getline(text, line); ++number) {
    try {
      const std::vector<std::string> words = splitLine(line);
      if (words.empty()) continue;
      if (words[0] != "noise") {
        scene.add(makeSignal(words, folder));
        continue;
      }
      if (words.size() != 2) throw std::runtime_error("noise needs one level");
      scene.setNoise(parseNumber(words[1]));
    } catch (const std::runtime_error& e) {
      throw std::runtime_error(fmt::format("{}:{}: {}", name, number, e.what()));
    }
  }
}

std::shared_ptr<bandScene> makeScene(const std::string& which) {
  auto scene = std::make_shared<bandScene>();
  if (which == "none") return scene;
  if (which == "demo" || which == "carriers") {
    std::istringstream text(which == "demo" ? demoSceneText() : carriersSceneText());
    readScene(text, which, ".", *scene);
    return scene;
  }
  std::ifstream file(which);
  if (!file) throw std::runtime_error(which + ": can't be opened");
  readScene(file, which, std::filesystem::path(which).parent_path().string(), *scene);
  return scene;
}

} // namespace larch::sim
