// golden check FOLDER             compares the forms of every type with those that are kept
// golden accept FOLDER TYPE...    keeps the present forms of these types; `all` names every type
#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "Forms.h"
#include "Stp/StpStatus.h"

namespace {

using Golden::Forms;
using Corpus = std::map<std::string, Forms>;  // by the names of types

// A file a module: a line with the type's name, then its forms, indented, "form = value".
Corpus readCorpus(const std::string& file) {
  Corpus corpus;
  std::ifstream in(file);
  Forms* forms = nullptr;
  for (std::string line; std::getline(in, line);) {
    const size_t equals = line.find(" = ");
    if (!line.empty() && line.front() != ' ') {
      forms = &corpus[line];
    } else if (forms && equals != std::string::npos) {
      (*forms)[line.substr(2, equals - 2)] = line.substr(equals + 3);
    }
  }
  return corpus;
}

bool writeCorpus(const std::string& file, const Corpus& corpus) {
  std::ofstream out(file);
  for (const auto& [type, forms] : corpus) {
    out << type << '\n';
    for (const auto& [form, value] : forms) out << "  " << form << " = " << value << '\n';
  }
  return out.flush().good();
}

Corpus presentForms(const Tovo::TovoModule& module) {
  Corpus corpus;
  for (uint32_t index = 0; index < module.typeCount; ++index) {
    const Tovo::TovoTypeBase type{&module, index};
    corpus[Tovo::typeName(type)] = Golden::formsOf(type);
  }
  return corpus;
}

// What a reader of the report wants to know: which form differs first, and how.
void reportType(const std::string& type, const Forms& kept, const Forms& present) {
  Forms both = kept;
  both.insert(present.begin(), present.end());
  for (const auto& [form, value] : both) {
    const auto was = kept.find(form);
    const auto is = present.find(form);
    const std::string before = was == kept.end() ? "nothing" : was->second;
    const std::string after = is == present.end() ? "nothing" : is->second;
    if (before == after) continue;
    std::cout << type << ": " << form << " changed\n  was " << before << "\n  is  " << after
              << '\n';
    return;
  }
}

// The names of types that differ from what is kept.
std::vector<std::string> changedTypes(const Corpus& kept, const Corpus& present) {
  Corpus both = kept;
  both.insert(present.begin(), present.end());
  std::vector<std::string> changed;
  for (const auto& [type, forms] : both) {
    const auto was = kept.find(type);
    const auto is = present.find(type);
    if (was == kept.end() || is == present.end() || was->second != is->second) {
      changed.push_back(type);
    }
  }
  return changed;
}

void report(const std::string& type, const Corpus& kept, const Corpus& present) {
  if (!kept.count(type)) {
    std::cout << type << ": new, nothing is kept of it\n";
  } else if (!present.count(type)) {
    std::cout << type << ": kept, but no module has it any more\n";
  } else {
    reportType(type, kept.at(type), present.at(type));
  }
}

int run(const std::string& command, const std::string& folder, std::vector<std::string> accepted) {
  const bool all = std::find(accepted.begin(), accepted.end(), "all") != accepted.end();
  std::vector<std::string> left;
  size_t types = 0;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    const std::string file = folder + "/" + std::string(Tovo::moduleName(*module)) + ".txt";
    Corpus kept = readCorpus(file);
    const Corpus present = presentForms(*module);
    types += present.size();
    bool write = false;
    for (const std::string& type : changedTypes(kept, present)) {
      const auto named = std::find(accepted.begin(), accepted.end(), type);
      if (command == "accept" && (all || named != accepted.end())) {
        if (named != accepted.end()) accepted.erase(named);
        kept.erase(type);
        if (present.count(type)) kept[type] = present.at(type);
        write = true;
        std::cout << type << ": accepted\n";
      } else {
        report(type, kept, present);
        left.push_back(type);
      }
    }
    if (write && !writeCorpus(file, kept)) {
      std::cerr << "golden: cannot write " << file << '\n';
      return 2;
    }
  }
  if (command == "accept" && !all && !accepted.empty()) {
    std::cerr << "golden: '" << accepted.front() << "' is no type that differs from what is kept\n";
    return 2;
  }
  if (left.empty()) {
    std::cout << types << " types as they are kept\n";
    return 0;
  }
  std::cout << left.size() << " of " << types
            << " types are not as they are kept. Peers, recordings "
            << "and files hold these forms; where the change is wanted:\n  ./dev corpus accept";
  for (const std::string& type : left) std::cout << ' ' << type;
  std::cout << '\n';
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const bool check = arguments.size() == 2 && arguments[0] == "check";
  if (!check && !(arguments.size() > 2 && arguments[0] == "accept")) {
    std::cerr << "usage: golden check FOLDER | golden accept FOLDER TYPE...\n";
    return 2;
  }
  Stp::statusFactory("");  // the library is linked for its types: use one of them
  return run(arguments[0], arguments[1], {arguments.begin() + 2, arguments.end()});
}
