// Any description, with the ones that it imports: it ends in errors with their places, or in C++
// and an id list that its canonical source gives as well.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tdc/emit/Emit.h"
#include "tdc/lock/Lock.h"
#include "tdc/model/Program.h"
#include "tdc/print/Print.h"
#include "tdc/syntax/Parser.h"

namespace {

constexpr const char* folder = "/nowhere/";

using Texts = std::vector<std::pair<std::string, std::string>>;

// The main description, then, behind lines "==== NAME", those of other modules.
Texts split(std::string_view input) {
  constexpr std::string_view separator = "\n==== ";
  Texts texts;
  std::string name = "Main";
  for (;;) {
    const size_t end = input.find(separator);
    texts.emplace_back(folder + name + ".tdl", input.substr(0, end));
    if (end == std::string_view::npos) return texts;
    input.remove_prefix(end + separator.size());
    const size_t line = std::min(input.find('\n'), input.size());
    name = input.substr(0, line);
    input.remove_prefix(line);
  }
}

struct Compiled {
  std::string errors;
  std::string header;
  std::string source;
  std::string lock;
};

Compiled compile(const Texts& texts) {
  tdc::SourceFiles files;
  for (const auto& [path, text] : texts) files.add(path, text);
  tdc::Diagnostics diagnostics;
  tdc::Program program(files, diagnostics, {});
  const tdc::Module* module = program.load(texts.front().first);
  if ((module == nullptr) == diagnostics.empty()) std::abort();
  if (module == nullptr) return {diagnostics.render(), {}, {}, {}};
  return {{}, tdc::emitHeader(*module), tdc::emitSource(*module), tdc::lockText({module})};
}

// Empty where the text does not parse.
std::string canonical(const std::string& text) {
  tdc::SourceFiles files;
  tdc::Diagnostics diagnostics;
  const tdc::syntax::File tree = tdc::parse(files.add("text", text), diagnostics);
  return diagnostics.empty() ? tdc::print(tree) : "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t longest = 64 * 1024;
  if (size > longest) return 0;
  const Texts texts = split({reinterpret_cast<const char*>(data), size});
  const Compiled compiled = compile(texts);
  if (!compiled.errors.empty()) {
    if (compiled.errors.find(": error: ") == std::string::npos) std::abort();
  }
  Texts printed = texts;
  for (auto& [path, text] : printed) {
    text = canonical(text);
    if (canonical(text) != text) std::abort();
  }
  if (!compiled.errors.empty()) return 0;
  const Compiled again = compile(printed);
  if (!again.errors.empty() || again.header != compiled.header || again.source != compiled.source ||
      again.lock != compiled.lock) {
    std::abort();
  }
  return 0;
}
