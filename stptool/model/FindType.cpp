#include "stptool/model/FindType.h"

#include <vector>

#include "stptool/model/Describe.h"
#include "stptool/output/Failure.h"
#include "stptool/text/Suggest.h"
#include "words/Phrases.h"

namespace stptool {

Tovo::TovoTypeBase findType(const std::string& name) {
  if (const Tovo::TovoTypeBase type = Tovo::typeByName(name)) return type;
  std::vector<std::string> names;
  std::vector<Tovo::TovoTypeBase> shortMatches;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    forEachType(*module, [&](Tovo::TovoTypeBase type) {
      names.emplace_back(Tovo::typeName(type));
      if (names.back().ends_with("::" + name)) shortMatches.push_back(type);
    });
  }
  if (shortMatches.size() == 1) return shortMatches.front();
  if (shortMatches.size() > 1) {
    std::vector<std::string> matches;
    for (const Tovo::TovoTypeBase type : shortMatches) matches.emplace_back(Tovo::typeName(type));
    throw Failure("'" + name + "' is the name of several types: " + words::joined(matches));
  }
  const std::string hint = suggestion(name, names);
  throw Failure(
      "there is no type '" + name + "'" + (hint.empty() ? "; 'stptool types' lists them" : hint),
      {.value = name, .suggestion = nearest(name, names)});
}

Tovo::TovoTypeBase findValueType(const std::string& name) {
  const Tovo::TovoTypeBase type = findType(name);
  if (Tovo::valueOps(type)) return type;
  throw Failure(std::string(Tovo::typeName(type)) +
                " is an entity type; allowed: a value type or an enumeration");
}

Tovo::TovoTypeBase findEntityType(const std::string& name) {
  const Tovo::TovoTypeBase type = findType(name);
  if (Tovo::typeDescriptor(type).kind == Tovo::TypeKind::entity) return type;
  throw Failure(std::string(Tovo::typeName(type)) + " is no entity type");
}

}  // namespace stptool
