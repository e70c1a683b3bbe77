// Follows a tree by nothing but what it publishes.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <unordered_map>

#include "Pelmo/Publisher.h"
#include "Tovo/Collection.h"
#include "Tovo/Path.h"
#include "fuzz/TreeState.h"

namespace fuzz {

/// Whatever other observers do meanwhile, and throw: each change is told once it is stored, so what
/// was there when the last one was told is what is there.
class Witness final : public Pelmo::Observer {
 public:
  explicit Witness(Tovo::Entity& root) {
    learn(root);
    observeRecursive(root.nodePublisher());
  }

  void handleChange(const Pelmo::Change& change) override {
    const Tovo::Entity& source = Tovo::entityOf(change.source);
    if (!source.nodeFlag(Pelmo::Node::flagLive)) return;
    const Tovo::Attribute attribute = attributeById(source.tovoType(), change.attribute);
    if (!attribute.isCollection()) {
      known_[&source][{change.attribute, {}}] = stored(source, attribute);
      return;
    }
    const Place place{change.attribute, encoded(attribute.keyOps(), change.key)};
    const void* item = collectionFind(source, attribute, change.key);
    if (!item) {
      known_[&source].erase(place);
      return;
    }
    known_[&source][place] = itemOf(attribute, item);
    if (attribute.kind() == Tovo::AttributeKind::ownCollection) learn(*Tovo::elementEntity(item));
  }

  /// Where the tree is not as it was published, or empty; while nothing is being published.
  std::string difference() const {
    return observed() ? difference(Tovo::entityOf(*observed())) : std::string();
  }

 private:
  using Place = std::pair<Tovo::AttributeId, std::string>;  // a key's bytes; of a collection only
  using Values = std::map<Place, std::string>;

  // Entities by what they are, since paths change.
  static std::string identity(const Tovo::Entity* entity) {
    return std::to_string(reinterpret_cast<uintptr_t>(entity));
  }
  static std::string stored(const Tovo::Entity& entity, Tovo::Attribute attribute) {
    if (attribute.kind() != Tovo::AttributeKind::pointer) {
      return encoded(attribute.ops(), storage(entity, attribute));
    }
    return identity(*static_cast<Tovo::Entity* const*>(storage(entity, attribute)));
  }
  static std::string itemOf(Tovo::Attribute collection, const void* item) {
    const bool ofEntities = collection.kind() == Tovo::AttributeKind::ownCollection ||
                            collection.kind() == Tovo::AttributeKind::refCollection;
    return ofEntities ? identity(Tovo::elementEntity(item)) : encoded(collection.ops(), item);
  }

  static Values valuesOf(const Tovo::Entity& entity) {
    Values values;
    forEachAttribute(entity.tovoType(), [&](Tovo::Attribute attribute) {
      if (attribute.isCollection()) {
        forEachElement(entity, attribute, [&](const void* key, const void* item) {
          values[{attribute.id(), encoded(attribute.keyOps(), key)}] = itemOf(attribute, item);
        });
      } else if (attribute.isLogged()) {
        values[{attribute.id(), {}}] = stored(entity, attribute);
      }
    });
    return values;
  }

  void learn(const Tovo::Entity& entity) {
    known_[&entity] = valuesOf(entity);
    forEachChild(entity, [&](Tovo::Entity& child, Tovo::Attribute) { learn(child); });
  }
  std::string difference(const Tovo::Entity& entity) const {
    const auto known = known_.find(&entity);
    if (known == known_.end()) return pathOf(entity);
    const Values now = valuesOf(entity);
    if (known->second != now) {
      const auto [here, there] =
          std::mismatch(now.begin(), now.end(), known->second.begin(), known->second.end());
      const Tovo::AttributeId id = here != now.end() ? here->first.first : there->first.first;
      return pathOf(entity, attributeById(entity.tovoType(), id).name());
    }
    std::string found;
    forEachChild(entity, [&](Tovo::Entity& child, Tovo::Attribute) {
      if (found.empty()) found = difference(child);
    });
    return found;
  }

  std::unordered_map<const Tovo::Entity*, Values> known_;
};

}  // namespace fuzz
