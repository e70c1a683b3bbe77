#include "tdc/model/Bases.h"

#include <algorithm>
#include <map>
#include <set>

namespace tdc {

namespace {

constexpr unsigned maxDepth = 250;

class Bases {
 public:
  Bases(std::vector<Declared>& declared, const TypeNames& names, Diagnostics& diagnostics)
      : declared_(declared), names_(names), diagnostics_(diagnostics) {}

  void run() {
    for (Declared& declared : declared_) {
      if (!declared.tree->base) continue;
      const Type* base = names_.lookUp(*declared.tree->base, *declared.type);
      if (base && !base->isEntity()) {
        diagnostics_.error(declared.tree->base->span,
                           inQuotes(base->name) + " is no entity and cannot be a base");
        diagnostics_.note(base->span, "it is declared here");
        base = nullptr;
      }
      pendingBase_[declared.type] = base;
    }
    for (Declared& declared : declared_) setBase(*declared.type, declared);
    std::stable_sort(declared_.begin(), declared_.end(), [](const Declared& a, const Declared& b) {
      return a.type->depth < b.type->depth;
    });
  }

 private:
  void setBase(Type& type, const Declared& declared) {
    std::set<const Type*> seen = {&type};
    unsigned depth = 0;
    const Type* at = &type;
    for (;;) {
      auto pending = pendingBase_.find(at);
      const Type* next = pending != pendingBase_.end() ? pending->second : at->base;
      if (!next) break;
      if (next == &type) {
        diagnostics_.error(
            declared.tree->base->span,
            "entity " + inQuotes(type.name) + " derives from itself; take this base away");
        pendingBase_[&type] = nullptr;
        type.base = nullptr;
        return;
      }
      if (!seen.insert(next).second) {
        return;  // reported for the types in the cycle
      }
      ++depth;
      at = next;
    }
    if (depth > maxDepth) {
      diagnostics_.error(declared.tree->base->span,
                         "an entity has at most " + std::to_string(maxDepth) + " bases");
      pendingBase_[&type] = nullptr;
      return;
    }
    auto pending = pendingBase_.find(&type);
    type.base = pending == pendingBase_.end() ? nullptr : pending->second;
    type.depth = depth;
  }

  std::vector<Declared>& declared_;
  const TypeNames& names_;
  Diagnostics& diagnostics_;
  std::map<const Type*, const Type*> pendingBase_;
};

}  // namespace

void resolveBases(std::vector<Declared>& declared, const TypeNames& names,
                  Diagnostics& diagnostics) {
  Bases(declared, names, diagnostics).run();
}

}  // namespace tdc
