// What the tests of tdc share: sources held in memory and a folder to write to.
#pragma once

#include <string>
#include <vector>

#include "tdc/model/Program.h"

namespace tdc::test {

/// A folder that is emptied and removed at the end.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  /// Writes a file there and gives its path.
  std::string write(const std::string& name, const std::string& text) const;
  std::string path(const std::string& name) const;

 private:
  std::string folder_;
};

struct Result {
  int code;
  std::string out;
  std::string err;
};

/// Runs the tool with an emitter whose texts are "header of M" and "source of M".
Result runTool(const std::vector<std::string>& arguments);

/// Loads one module from text.
class Loaded {
 public:
  explicit Loaded(const std::string& text);

  /// Null where there are errors.
  const Module* module() const { return module_; }
  std::string errors() const { return diagnostics_.render(); }

  /// A type by its qualified name; the test fails by exception where there is none.
  const Type& type(const std::string& qualifiedName) const;
  const Member& member(const std::string& qualifiedName, const std::string& member) const;

 private:
  Scratch scratch_;
  SourceFiles files_;
  Diagnostics diagnostics_;
  Program program_{files_, diagnostics_, {}};
  const Module* module_ = nullptr;
};

std::string readAll(const std::string& path);

/// The .tdl files directly in a folder, sorted.
std::vector<std::string> descriptionsIn(const std::string& folder);

/// A description that uses every part of the language.
const std::string& everything();

}  // namespace tdc::test
