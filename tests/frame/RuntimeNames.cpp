// Writes a description whose attributes, fields and entities are called like everything in the
// runtime's headers and in a generated one, but for what tdc refuses:
//
//     runtime_names OUT.tdl DESCRIPTION.tdl HEADER...
//
// So a name that the runtime takes one day is declared here the same day, and compiles or is
// refused.
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tdc/emit/Emit.h"
#include "tdc/model/Program.h"

namespace {

using Names = std::set<std::string>;

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void addIdentifiers(Names& names, const std::string& code) {
  static const std::regex silent(R"re(//[^\n]*|#[^\n]*|"[^"\n]*")re");
  static const std::regex identifier(R"([A-Za-z_]\w*)");
  const std::string plain = std::regex_replace(code, silent, " ");
  for (std::sregex_iterator at(plain.begin(), plain.end(), identifier), end; at != end; ++at) {
    names.insert(at->str());
  }
}

class Description {
 public:
  void line(const std::string& text, const std::string& name = {}) {
    text_ += text + "\n";
    if (!name.empty())
      names_[++lines_] = name;
    else
      ++lines_;
  }
  /// Types of at most so many members, one a line.
  void members(const Names& names, const std::string& type, const std::string& member,
               unsigned firstId) {
    constexpr unsigned most = 100;
    unsigned count = 0;
    for (const std::string& name : names) {
      if (count % most == 0) {
        if (count > 0) line("}");
        line(std::regex_replace(type, std::regex("#"), std::to_string(count / most)));
      }
      line(std::to_string(firstId + count++ % most) + " " +
               std::regex_replace(member, std::regex("#"), name),
           name);
    }
    line("}");
  }
  const std::string& text() const { return text_; }

  /// The names in whose lines there are errors.
  Names refused(const std::string& path) const {
    std::ofstream(path, std::ios::binary) << text_;
    tdc::SourceFiles files;
    tdc::Diagnostics diagnostics;
    tdc::Program program(files, diagnostics, {});
    program.load(path);
    Names found;
    static const std::regex error(R"(:(\d+):\d+: error: )");
    const std::string errors = diagnostics.render();
    for (std::sregex_iterator at(errors.begin(), errors.end(), error), end; at != end; ++at) {
      const auto name = names_.find(std::stoul((*at)[1]));
      if (name == names_.end()) {
        std::cerr << errors;
        std::exit(1);
      }
      found.insert(name->second);
    }
    return found;
  }

 private:
  std::string text_;
  size_t lines_ = 0;
  std::map<size_t, std::string> names_;
};

/// What is left when all that is refused is taken away.
Names allowed(Names names, const std::string& path,
              const std::function<void(Description&, const Names&)>& describe) {
  for (;;) {
    Description description;
    description.line("module Names record 00112233445566ee order 19; namespace Names;");
    describe(description, names);
    const Names refused = description.refused(path);
    if (refused.empty()) return names;
    for (const std::string& name : refused) names.erase(name);
  }
}

void describeAttributes(Description& out, const Names& names) {
  out.members(names, "entity Attributes# factory {", "attr # : u16;", 258);
}
void describeFields(Description& out, const Names& names) {
  out.members(names, "value Fields# hash order declared {", "field # : u16 = 1 range 1..9;", 2);
}
void describeEntities(Description& out, const Names& names) {
  for (const std::string& name : names) {
    out.line("entity " + name + " factory { 258 ptr next : " + name + "; }", name);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string out = argv[1];
  tdc::SourceFiles files;
  tdc::Diagnostics diagnostics;
  tdc::Program program(files, diagnostics, {});
  const tdc::Module* module = program.load(argv[2]);
  if (!module) return 1;
  Names names;
  addIdentifiers(names, tdc::emitHeader(*module));
  for (int i = 3; i < argc; ++i) addIdentifiers(names, readAll(argv[i]));

  Description description;
  description.line("// Written by runtime_names.");
  description.line("module Names record 00112233445566ee order 19;");
  description.line("namespace Names;");
  describeAttributes(description, allowed(names, out, describeAttributes));
  describeFields(description, allowed(names, out, describeFields));
  describeEntities(description, allowed(names, out, describeEntities));
  std::ofstream(out, std::ios::binary) << description.text();
}
