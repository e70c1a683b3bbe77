// Loading: from files to resolved modules.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tdc/model/Model.h"
#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/SourceFile.h"

namespace tdc {

/// Owns the modules of a run. The files and the diagnostics are the caller's and must outlive it.
class Program {
 public:
  /// `folders` are searched for imports behind the importing file's own.
  Program(SourceFiles& files, Diagnostics& diagnostics, std::vector<std::string> folders);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  /// Loads a file and all it imports, each file once. Null where there were errors, which are in
  /// the diagnostics by then. Throws `FileError` when the file cannot be read.
  const Module* load(const std::string& path);

 private:
  struct Loaded;

  Loaded* loadFile(const std::string& path);
  void loadImports(Loaded& loaded);
  void loadImport(Loaded& loaded, const syntax::Import& import);
  void describe(Loaded& loaded, const syntax::Import& import);
  const Module* described(const Loaded& loaded, const std::string& name) const;
  std::vector<std::string> searched(const Loaded& loaded) const;
  std::string findFile(const Loaded& loaded, const std::string& name) const;
  bool checkRecord(const syntax::Import& import, const Module& module);
  void addImport(Loaded& loaded, const Module& imported);

  SourceFiles& files_;
  Diagnostics& diagnostics_;
  std::vector<std::string> folders_;
  std::map<std::string, std::unique_ptr<Loaded>> loaded_;
  std::vector<std::unique_ptr<Module>> externals_;
  int depth_ = 0;
};

}  // namespace tdc
