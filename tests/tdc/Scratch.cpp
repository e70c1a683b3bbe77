#include "tests/tdc/Scratch.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tdc/Tool.h"

namespace tdc::test {

namespace fs = std::filesystem;

Scratch::Scratch() {
  std::string pattern = (fs::temp_directory_path() / "tdc_test_XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no scratch folder");
  folder_ = pattern;
}

Scratch::~Scratch() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::string Scratch::path(const std::string& name) const { return folder_ + "/" + name; }

std::string Scratch::write(const std::string& name, const std::string& text) const {
  std::ofstream(path(name), std::ios::binary) << text;
  return path(name);
}

Result runTool(const std::vector<std::string>& arguments) {
  std::ostringstream out;
  std::ostringstream err;
  Emitter emitter{[](const Module& module) { return "header of " + module.name; },
                  [](const Module& module) { return "source of " + module.name; }};
  int code = run(arguments, emitter, out, err);
  return {code, out.str(), err.str()};
}

Loaded::Loaded(const std::string& text) {
  module_ = program_.load(scratch_.write("Test.tdl", text));
}

const Type& Loaded::type(const std::string& qualifiedName) const {
  const Type* type = module_ == nullptr ? nullptr : module_->find(qualifiedName);
  if (type == nullptr) throw std::runtime_error("no type " + qualifiedName + "\n" + errors());
  return *type;
}

const Member& Loaded::member(const std::string& qualifiedName, const std::string& name) const {
  const Member* member = type(qualifiedName).find(name);
  if (member == nullptr) throw std::runtime_error("no member " + name);
  return *member;
}

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> descriptionsIn(const std::string& folder) {
  std::vector<std::string> paths;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    if (entry.path().extension() == ".tdl") paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

const std::string& everything() {
  static const std::string text = readAll(TDC_TEST_DIR "/Everything.tdl");
  return text;
}

}  // namespace tdc::test
