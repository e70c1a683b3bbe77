// What holds of publications, of what was published, and of mirrors.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "Tovo/Directory.h"
#include "fuzz/Demand.h"
#include "fuzz/Hand.h"
#include "fuzz/TreeState.h"
#include "fuzz/Witness.h"

namespace fuzz {

/// A publication belongs to its source, and what it leads to is there.
inline void checkPublication(const Pelmo::Change& change) {
  const Tovo::Entity& source = Tovo::entityOf(change.source);
  const Tovo::Attribute attribute = attributeById(source.tovoType(), change.attribute);
  demand(attribute && attribute.isLogged(), "the attribute is one of the source");
  demand(attribute.isCollection() == (change.key != nullptr), "collections have keys");
  demand(attribute.isCollection() || change.previous, "a scalar was something before");
  if (change.key) Tovo::valueText(attribute.keyOps(), change.key);
  if (!change.previous) return;
  if (attribute.kind() == Tovo::AttributeKind::pointer ||
      attribute.kind() == Tovo::AttributeKind::ownCollection ||
      attribute.kind() == Tovo::AttributeKind::refCollection) {
    const Pelmo::Ptr<Tovo::Entity>& before = pointerAt(change.previous);
    demand(before || attribute.kind() == Tovo::AttributeKind::pointer, "an entry was no null");
    if (before) Tovo::pathOf(*before);
  } else {
    Tovo::valueText(attribute.ops(), change.previous);
  }
}

/// One witness for each root that was ever seen, until it goes.
class Witnesses {
 public:
  /// What was published last is what is there, also of the roots of these directories from now on.
  void check(const std::vector<const Tovo::Directory*>& directories) {
    std::erase_if(witnesses_, [](const auto& each) { return !each->observed(); });
    for (const auto& witness : witnesses_) {
      const std::string where = witness->difference();
      demand(where.empty(), "what is there was published last:", where);
    }
    for (const Tovo::Directory* directory : directories) {
      for (const auto& [path, root] : directory->mounts()) {
        const Pelmo::Publisher* publisher = &root->publisher();
        const bool known = std::any_of(witnesses_.begin(), witnesses_.end(), [&](const auto& each) {
          return each->observed() == publisher;
        });
        if (!known) witnesses_.push_back(std::make_unique<Witness>(*root));
      }
    }
  }

  void clear() { witnesses_.clear(); }

 private:
  std::vector<std::unique_ptr<Witness>> witnesses_;
};

/// What is mounted at both; a client asks only for what was there when it connected.
inline void demandSame(const Tovo::Directory& original, const Tovo::Directory& mirror,
                       const char* what) {
  const State above = stateOf(original);
  State here = stateOf(mirror);
  for (const auto& [path, state] : above) {
    const Tovo::Entity* root = mirror.mounted(path);
    if (!root || here[path] == state) continue;
    std::string where;
    Tovo::sameTree(*original.mounted(path), *root, where);
    demand(false, what, where);
  }
}

}  // namespace fuzz
