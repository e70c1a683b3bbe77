#include "tdc/model/Program.h"

#include <algorithm>
#include <set>

#include "tdc/files/Files.h"
#include "tdc/model/ClassNames.h"
#include "tdc/model/Resolver.h"
#include "tdc/syntax/Parser.h"

namespace tdc {

namespace {

constexpr int maxImportDepth = 64;

bool describesTheSame(const Module& a, const Module& b) {
  return std::equal(a.owned.begin(), a.owned.end(), b.owned.begin(), b.owned.end(),
                    [](const auto& x, const auto& y) {
                      return x->qualifiedName == y->qualifiedName && x->kind == y->kind &&
                             x->encodedSize == y->encodedSize && x->hashable == y->hashable &&
                             x->order == y->order && x->header == y->header;
                    });
}

}  // namespace

struct Program::Loaded {
  const SourceFile* source = nullptr;
  syntax::File tree;
  Module module;
  bool loading = true;
  /// The types are not known, so nothing can be said about a file that uses them.
  bool broken = false;
};

Program::Program(SourceFiles& files, Diagnostics& diagnostics, std::vector<std::string> folders)
    : files_(files), diagnostics_(diagnostics), folders_(std::move(folders)) {}

Program::~Program() = default;

const Module* Program::load(const std::string& path) {
  Loaded* loaded = loadFile(path);
  return diagnostics_.empty() ? &loaded->module : nullptr;
}

Program::Loaded* Program::loadFile(const std::string& path) {
  std::unique_ptr<Loaded>& entry = loaded_[canonicalPath(path)];
  if (entry) return entry.get();
  entry = std::make_unique<Loaded>();
  Loaded& loaded = *entry;
  loaded.source = &files_.read(path);

  size_t errorsBefore = diagnostics_.size();
  loaded.tree = parse(*loaded.source, diagnostics_);
  loaded.broken = diagnostics_.size() != errorsBefore;

  Module& module = loaded.module;
  const syntax::Module& head = loaded.tree.module;
  module.name = head.name.text;
  module.record = head.record.text;
  module.doc = documentation(head);
  module.path = path;
  module.span = head.name.span;
  if (!loaded.broken) {
    if (head.order.value == 0 || head.order.value > 0xFFFF) {
      diagnostics_.error(head.order.span, "a module's order is 1 to 65535");
    }
    module.order = static_cast<unsigned>(head.order.value & 0xFFFF);
  }

  ++depth_;
  loadImports(loaded);
  --depth_;
  if (!loaded.broken) resolve(loaded.tree, module, diagnostics_);
  loaded.loading = false;
  return &loaded;
}

void Program::loadImports(Loaded& loaded) {
  std::set<std::string> seen;
  std::vector<const syntax::Import*> withoutFile;
  for (const syntax::Import& import : loaded.tree.imports) {
    if (!seen.insert(import.name.text).second) {
      diagnostics_.error(import.name.span,
                         "module '" + import.name.text + "' is imported twice; remove one");
    } else if (import.described) {
      describe(loaded, import);
    } else if (!findFile(loaded, import.name.text).empty()) {
      loadImport(loaded, import);
    } else {
      withoutFile.push_back(&import);
    }
  }
  // A module that another import describes has no file; that import may stand below.
  for (const syntax::Import* import : withoutFile) {
    const Module* module = described(loaded, import->name.text);
    if (!module && loaded.broken) {
      continue;  // the import that describes it may be the broken one
    }
    if (!module) {
      std::string folders;
      for (const std::string& folder : searched(loaded)) {
        folders += (folders.empty() ? "'" : ", '") + (folder.empty() ? "." : folder) + "'";
      }
      diagnostics_.error(import->name.span,
                         "module '" + import->name.text + "' is not found: there is no '" +
                             descriptionName(import->name.text) + "' in " + folders +
                             ", and no import describes it; add a folder with -I, or describe it "
                             "in braces");
      loaded.broken = true;
    } else if (checkRecord(*import, *module)) {
      addImport(loaded, *module);
    }
  }
}

void Program::loadImport(Loaded& loaded, const syntax::Import& import) {
  if (depth_ > maxImportDepth) {
    diagnostics_.error(import.name.span,
                       "imports are nested more than " + std::to_string(maxImportDepth) + " deep");
    loaded.broken = true;
    return;
  }
  Loaded* imported = loadFile(findFile(loaded, import.name.text));
  if (imported->loading) {
    diagnostics_.error(import.name.span, "module '" + import.name.text +
                                             "' imports this one, directly or not; move what "
                                             "both use into a third module");
    loaded.broken = true;
    return;
  }
  if (imported->broken) {
    loaded.broken = true;
    return;
  }
  if (imported->module.name != import.name.text) {
    diagnostics_.error(import.name.span, "'" + imported->module.path + "' describes module '" +
                                             imported->module.name + "'; rename the file");
    diagnostics_.note(imported->module.span, "it is named here");
    return;
  }
  if (checkRecord(import, imported->module)) addImport(loaded, imported->module);
}

void Program::describe(Loaded& loaded, const syntax::Import& import) {
  auto module = std::make_unique<Module>();
  module->name = import.name.text;
  module->record = import.record.text;
  module->path = loaded.source->path();
  module->external = true;
  module->span = import.name.span;
  std::set<std::string> names;
  for (const syntax::External& external : import.externals) {
    auto type = std::make_unique<Type>();
    type->kind = external.enumeration ? TypeKind::externalEnumeration : TypeKind::externalValue;
    type->qualifiedName = external.name.text;
    size_t colons = external.name.text.rfind("::");
    bool global = colons == std::string::npos;
    type->name = global ? external.name.text : external.name.text.substr(colons + 2);
    type->nameSpace = global ? "" : external.name.text.substr(0, colons);
    type->doc = documentation(external);
    type->module = module.get();
    type->index = static_cast<int>(module->types.size());
    type->hashable = external.hash || external.enumeration;
    type->order = external.order || external.enumeration ? Order::declared : Order::none;
    type->header = external.headerText;
    type->encodedSize = external.bytes.value;
    type->span = external.name.span;
    uint64_t bytes = external.bytes.value;
    if (bytes == 0 || bytes > 0xFFFF) {
      diagnostics_.error(external.bytes.span, "an encoded size is 1 to 65535 bytes");
    } else if (external.enumeration && bytes != 1 && bytes != 4) {
      diagnostics_.error(external.bytes.span, "an enumeration is encoded in 1 or 4 bytes");
    }
    if (external.enumeration) type->width = static_cast<unsigned>(bytes & 0xF);
    if (external.headerText.empty()) {
      diagnostics_.error(external.header.span,
                         "the header that declares '" + external.name.text + "' has no name");
    }
    if (!names.insert(type->qualifiedName).second) {
      diagnostics_.error(external.name.span,
                         "'" + external.name.text + "' stands twice; remove one");
    }
    module->types.push_back(type.get());
    module->declarations.push_back(type.get());
    module->definitions.push_back(type.get());
    module->owned.push_back(std::move(type));
  }

  for (const std::unique_ptr<Module>& other : externals_) {
    if (other->name != module->name) continue;
    if (other->record != module->record || !describesTheSame(*other, *module)) {
      diagnostics_.error(import.name.span, "module '" + module->name +
                                               "' is described differently elsewhere; write "
                                               "'import " +
                                               module->name + " record " + other->record +
                                               ";' if that one is right");
      diagnostics_.note(other->span, "it is described here");
    }
    addImport(loaded, *other);
    return;
  }
  externals_.push_back(std::move(module));
  addImport(loaded, *externals_.back());
}

const Module* Program::described(const Loaded& loaded, const std::string& name) const {
  for (const Module* module : loaded.module.reachable) {
    if (module->external && module->name == name) return module;
  }
  return nullptr;
}

std::vector<std::string> Program::searched(const Loaded& loaded) const {
  std::string own = folderOf(loaded.source->path());
  std::vector<std::string> folders = {own};
  for (const std::string& folder : folders_) {
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
      folders.push_back(folder);
    }
  }
  return folders;
}

std::string Program::findFile(const Loaded& loaded, const std::string& name) const {
  for (const std::string& folder : searched(loaded)) {
    std::string path = joinPath(folder, descriptionName(name));
    if (files_.exists(path)) return path;
  }
  return "";
}

bool Program::checkRecord(const syntax::Import& import, const Module& module) {
  if (import.record.text == module.record) return true;
  diagnostics_.error(import.record.span, "the record of module '" + module.name + "' is " +
                                             module.record + ", not " + import.record.text +
                                             "; write the one of the version that is meant");
  diagnostics_.note(module.span, "module '" + module.name + "' is described here");
  return false;
}

void Program::addImport(Loaded& loaded, const Module& imported) {
  Module& module = loaded.module;
  auto add = [&](const Module* other) {
    if (std::find(module.reachable.begin(), module.reachable.end(), other) ==
        module.reachable.end()) {
      module.reachable.push_back(other);
    }
  };
  for (const Module* other : imported.reachable) add(other);
  add(&imported);
  module.imports.push_back(&imported);
}

}  // namespace tdc
