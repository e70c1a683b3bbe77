// The base of all entities.
#pragma once

#include <string>

#include "Pelmo/Ptr.h"
#include "Pelmo/Publisher.h"
#include "Pelmo/String.h"
#include "Tovo/Module.h"
#include "Tovo/Types.h"

namespace Tovo {

class Entity;

namespace Impl {
void tearDownUncounted(Entity& entity) noexcept;
}

/// A named, counted object whose changes are published. Held through Pelmo::Ptr; its parent, the
/// owner of the collection that it is in, is a plain pointer, null while it has none.
///
/// When the last reference is dropped, it is torn down before anything of it is destroyed: it is no
/// longer live (Node::flagLive), removes what it owns, what the most derived type declares first
/// and each in order of declaration, and publishes each removal. Observers may do anything
/// meanwhile, and what they throw is dropped; if one of them keeps a reference, the entity lives
/// on, without what was removed. Otherwise it lets go without a word what it refers to and what has
/// come in since, tells its observers that it is gone, and is destroyed.
///
///   offset 0   node header
///         16   publisher
///         32   name
class Entity : public Pelmo::ObservableNode {
 public:
  ~Entity() override;

  /// Where observers attach.
  virtual Pelmo::Publisher& publisher() noexcept;
  /// The record of the module that declares the type.
  virtual const TovoModule* typeData() const noexcept = 0;
  /// Called by a collection that takes the entity in or lets it go; does not throw.
  virtual void handleParent(const Pelmo::Ptr<Entity>& parent);
  /// The exact type.
  virtual TovoTypeBase tovoType() const noexcept = 0;
  void lastUserGone() noexcept override;  ///< Tears the entity down, as said above.

  /// Empty for the types whose key is a parameter.
  const Pelmo::String& name() const noexcept { return name_; }
  /// The name, or the text of the key.
  Pelmo::String nameString() const;
  /// The owner of the collection that it is in; null while it has none.
  Entity* parent() const noexcept;

 protected:
  /// Stores the name once in the process.
  explicit Entity(const Pelmo::String& name) : name_(Pelmo::String::interned(name)) {}

 private:
  friend void Impl::tearDownUncounted(Entity& entity) noexcept;

  Pelmo::String name_;
};

/// For the destructor of each type, before anything else: tears down an entity that ends without
/// having been counted down, such as one whose constructor throws.
inline void tearDown(Entity& entity) noexcept {
  if (entity.nodeFlag(Pelmo::Node::flagLive)) Impl::tearDownUncounted(entity);
}

/// The entity that a publisher belongs to.
inline Entity& entityOf(Pelmo::Publisher& publisher) noexcept {
  return static_cast<Entity&>(static_cast<Pelmo::ObservableNode&>(publisher.node()));
}

/// Calls visit(Entity& child, Attribute collection) for each owned element.
template <class Visit>
void forEachChild(const Entity& entity, const Visit& visit);

/// Where an attribute of an entity is stored; only for stored ones.
inline void* storage(Entity& entity, Attribute attribute) noexcept {
  return reinterpret_cast<char*>(&entity) + attribute.descriptor().offset;
}
inline const void* storage(const Entity& entity, Attribute attribute) noexcept {
  return reinterpret_cast<const char*>(&entity) + attribute.descriptor().offset;
}

}  // namespace Tovo
