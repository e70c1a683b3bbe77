#include "tdc/emit/UniqueNames.h"

namespace tdc {

std::string UniqueNames::unique(const Type& type, const std::string& separator,
                                const std::string& name) {
  const auto [at, added] = names_.emplace(type.qualifiedName + separator + name, "");
  if (!added) return at->second;
  std::string flat;
  for (const char c : type.qualifiedName) {
    if (c != ':') {
      flat += c;
    } else if (flat.back() != '_') {
      flat += '_';
    }
  }
  flat += "_" + name;
  while (!taken_.insert(flat).second) flat += '_';
  return at->second = flat;
}

}  // namespace tdc
