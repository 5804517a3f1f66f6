// Band scenes from text files, and the ones that are built in. The format is described in docs/simulator.md.
#pragma once
#include <istream>
#include <memory>
#include <string>
#include "sim/bandScene.h"

namespace larch::sim {

// Adds what the text says to the scene. `name` stands in error messages; files that the text names are looked for beside
// `folder`. Throws std::runtime_error "name:line: what is wrong".
void readScene(std::istream& text, const std::string& name, const std::string& folder, bandScene& scene);

// "demo", "carriers", "none", or the path of a scene file. Throws std::runtime_error.
std::shared_ptr<bandScene> makeScene(const std::string& which);

// The texts of the built-in scenes.
const char* demoSceneText();
const char* carriersSceneText();

// "7.1M", "14074k", "7100000"; throws std::runtime_error.
double parseFrequency_Hz(const std::string& text);

} // namespace larch::sim
