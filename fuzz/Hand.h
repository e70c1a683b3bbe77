// Makes, reads and changes entities of any type by reflection, as an input decides.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Pelmo/Ptr.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "Tovo/ValueOps.h"
#include "fuzz/Input.h"

namespace fuzz {

using Entities = std::vector<Tovo::Entity*>;

/// The entity and everything below it.
inline void addTree(Entities& entities, Tovo::Entity& top) {
  size_t next = entities.size();
  entities.push_back(&top);
  for (; next < entities.size(); ++next) {
    forEachChild(*entities[next],
                 [&](Tovo::Entity& child, Tovo::Attribute) { entities.push_back(&child); });
  }
}

/// The entity that a pointer or a collection of entities holds, from what an observer is given as
/// the one before.
inline const Pelmo::Ptr<Tovo::Entity>& pointerAt(const void* stored) {
  return *static_cast<const Pelmo::Ptr<Tovo::Entity>*>(stored);
}

class Hand {
 public:
  using Entity = Tovo::Entity;
  using Attribute = Tovo::Attribute;
  using AttributeKind = Tovo::AttributeKind;
  using Value = std::unique_ptr<Tovo::ValueBuffer>;

  explicit Hand(Input& input) : input_(input) {}

  /// Every type of entity of all registered modules.
  static const std::vector<Tovo::TovoTypeBase>& types() {
    static const std::vector<Tovo::TovoTypeBase> all = [] {
      std::vector<Tovo::TovoTypeBase> found;
      for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
        for (uint32_t index = 0; index < module->typeCount; ++index) {
          const Tovo::TovoTypeBase type{module, index};
          if (Tovo::entityHooks(type)) found.push_back(type);
        }
      }
      return found;
    }();
    return all;
  }

  /// Of them, those that have collections.
  static const std::vector<Tovo::TovoTypeBase>& ownerTypes() {
    static const std::vector<Tovo::TovoTypeBase> owners = [] {
      std::vector<Tovo::TovoTypeBase> found;
      for (const Tovo::TovoTypeBase type : types()) {
        bool owns = false;
        forEachAttribute(type, [&](Attribute attribute) { owns |= attribute.isCollection(); });
        if (owns) found.push_back(type);
      }
      return found;
    }();
    return owners;
  }

  Pelmo::Ptr<Entity> make(Tovo::TovoTypeBase type) {
    const Attribute keyed = Tovo::keyParameter(type);
    std::vector<Value> values;
    values.push_back(key(keyed ? keyed.ops() : Tovo::primitiveOps(Tovo::PrimitiveCode::string)));
    return made(type, parameters(type, std::move(values)));
  }

  /// One attribute, to a value, to one of the entities that fit, or with an element more or less.
  void change(Entity& entity, const Entities& targets) {
    std::vector<Attribute> logged;
    forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      if (!attribute.isLogged()) return;
      // Few are no plain values, and they are where faults hide.
      logged.insert(logged.end(), attribute.kind() == AttributeKind::attribute ? 1 : 6, attribute);
    });
    if (logged.empty()) return;
    const Attribute attribute = logged[input_.below(logged.size())];
    if (attribute.isCollection()) {
      if (input_.below(3) == 0) return erase(entity, attribute);
      return insert(entity, attribute, targets);
    }
    if (attribute.kind() == AttributeKind::pointer) {
      return pointerIs(entity, attribute, target(entity, attribute, targets));
    }
    const Value to = value(attribute.ops());
    if (input_.below(4) == 0) {
      const std::string text = Tovo::valueText(attribute.ops(), to->get());
      return attributeFromText(entity, attribute, text);
    }
    const Pelmo::FieldDescriptor field = attribute.field();
    genericIf(entity.tovoType())
        .genericIfAttributeOp(entity.tovoType(), nullptr, &entity, &field, Tovo::OperationCode::set,
                              nullptr, to->get());
  }

  /// All that can be read of it.
  static void read(const Entity& entity) {
    size_t letters = pathOf(entity).size() + entity.nameString().view().size();
    forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      if (!attribute.isCollection()) {
        letters += attributeText(entity, attribute).size();
        return;
      }
      forEachElement(entity, attribute, [&](const void* at, const void* item) {
        letters += Tovo::valueText(attribute.keyOps(), at).size();
        if (attribute.kind() == AttributeKind::ownCollection ||
            attribute.kind() == AttributeKind::refCollection) {
          letters += pathOf(*Tovo::elementEntity(item)).size();
        } else {
          letters += Tovo::valueText(attribute.ops(), item).size();
        }
        if (collectionFind(entity, attribute, at) != item) std::abort();
      });
    });
    if (letters == 0) std::abort();
  }

  /// Clears references of the entity to what is in no mounted tree.
  static void clearDangling(Entity& entity) {
    const auto dangles = [](const Entity* target) {
      return target && !pathOf(*target).starts_with('/');
    };
    forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      if (attribute.kind() == AttributeKind::pointer &&
          dangles(pointerAt(storage(entity, attribute)).get())) {
        pointerIs(entity, attribute, nullptr);
      }
      if (attribute.kind() != AttributeKind::refCollection) return;
      forEachElement(entity, attribute, [&](const void* at, const void* item) {
        if (dangles(Tovo::elementEntity(item))) collectionOps(attribute).erase(entity, at);
      });
    });
  }

 private:
  static Pelmo::Ptr<Entity> made(Tovo::TovoTypeBase type, const std::vector<Value>& values) {
    const std::vector<const void*> arguments = pointers(values);
    alignas(Pelmo::Ptr<Entity>) unsigned char storage[sizeof(Pelmo::Ptr<Entity>)];
    genericIf(type).genericIfConstructFromCtorArgs(type, storage, arguments);
    auto* const made = std::launder(reinterpret_cast<Pelmo::Ptr<Entity>*>(storage));
    Pelmo::Ptr<Entity> entity = std::move(*made);
    std::destroy_at(made);
    return entity;
  }

  std::vector<Value> parameters(Tovo::TovoTypeBase type, std::vector<Value> values) {
    for (const Attribute parameter : Tovo::constructorParameters(type)) {
      values.push_back(value(parameter.ops()));
    }
    return values;
  }

  static std::vector<const void*> pointers(const std::vector<Value>& values) {
    std::vector<const void*> all;
    for (const Value& each : values) all.push_back(each->get());
    return all;
  }

  Value value(const Tovo::ValueOps& ops) { return valueOf(ops, input_.byte()); }
  // One of few, so that the same key comes again.
  Value key(const Tovo::ValueOps& ops) { return valueOf(ops, 1 + input_.below(4)); }

  // Values that the log can carry and that equal themselves, as many as there are numbers; 0 is the
  // default.
  static Value valueOf(const Tovo::ValueOps& ops, size_t number) {
    static std::map<std::pair<const Tovo::ValueOps*, size_t>, std::string> encodings;
    auto made = std::make_unique<Tovo::ValueBuffer>(ops);
    const auto [at, isNew] = encodings.try_emplace({&ops, number});
    if (isNew && number != 0) at->second = encodingOf(ops, static_cast<uint32_t>(number));
    if (at->second.empty()) {
      made->constructDefault();
    } else {
      made->read(*std::make_unique<Tovo::NboAttrLog::In>(bytesOf(at->second)));
    }
    return made;
  }

  static Tovo::NboAttrLog::In bytesOf(const std::string& bytes) {
    return Tovo::NboAttrLog::In({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  }

  // Mostly zeros and small, so that lengths and counts fit; no byte begins a number that does not
  // equal itself. Empty when none is found.
  static std::string encodingOf(const Tovo::ValueOps& ops, uint32_t number) {
    std::minstd_rand random(number);
    for (int attempt = 0; attempt < 200; ++attempt) {
      std::string bytes(48, '\0');
      for (char& byte : bytes) {
        const auto choice = random() % 10;
        byte = static_cast<char>(choice < 5 ? 0 : random() % (choice < 8 ? 4 : 0x6f));
      }
      Tovo::NboAttrLog::In in = bytesOf(bytes);
      try {
        Tovo::ValueBuffer(ops).read(in);
        return bytes;
      } catch (const Tovo::StreamException&) {
        continue;
      }
    }
    return {};
  }

  void insert(Entity& owner, Attribute collection, const Entities& targets) {
    const Value at = key(collection.keyOps());
    const Tovo::CollectionOps& ops = collectionOps(collection);
    if (collection.kind() == AttributeKind::ownCollection) {
      constexpr size_t most = 80;
      if (targets.size() > most) return;
      const std::vector<Value> values = parameters(collection.type(), {});
      ops.create(owner, at->get(), pointers(values));
    } else if (collection.kind() == AttributeKind::refCollection) {
      const Pelmo::Ptr<Entity> to(target(owner, collection, targets));
      ops.put(owner, at->get(), &to);
    } else {
      const Value item = value(collection.ops());
      ops.put(owner, at->get(), item->get());
    }
  }

  // One, or all; by the key as it stands in the collection, or by a copy.
  void erase(Entity& owner, Attribute collection) {
    const size_t which = input_.below(8);
    std::vector<Value> copies;
    size_t place = 0;
    forEachElement(owner, collection, [&](const void* at, const void*) {
      if (which != 0 && which != 1 && which - 2 != place++) return;
      if (which % 2 == 0) {
        collectionOps(collection).erase(owner, at);
        return;
      }
      copies.push_back(std::make_unique<Tovo::ValueBuffer>(collection.keyOps()));
      copies.back()->constructFrom(at);
    });
    for (const Value& at : copies) collectionOps(collection).erase(owner, at->get());
  }

  // Null, or one of those that fit and do not hold the holder: what holds itself never goes.
  Entity* target(const Entity& holder, Attribute attribute, const Entities& targets) {
    Entities fitting{nullptr};
    for (Entity* each : targets) {
      if (isDerived(each->tovoType(), attribute.type()) && !holds(*each, holder)) {
        fitting.push_back(each);
      }
    }
    return fitting[input_.below(fitting.size())];
  }

  static bool holds(const Entity& from, const Entity& to) {
    std::unordered_set<const Entity*> known{&from};
    std::vector<const Entity*> all{&from};
    const auto add = [&](const Entity* entity) {
      if (entity && known.insert(entity).second) all.push_back(entity);
    };
    for (size_t next = 0; next < all.size(); ++next) {
      const Entity& entity = *all[next];
      forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
        if (attribute.kind() == AttributeKind::pointer) {
          add(pointerAt(storage(entity, attribute)).get());
        } else if (attribute.kind() == AttributeKind::ownCollection ||
                   attribute.kind() == AttributeKind::refCollection) {
          forEachElement(entity, attribute,
                         [&](const void*, const void* item) { add(Tovo::elementEntity(item)); });
        }
      });
    }
    return known.contains(&to);
  }

  Input& input_;
};

}  // namespace fuzz
