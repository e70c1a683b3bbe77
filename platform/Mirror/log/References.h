// Pointers and entries of reference collections, as the peer says them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Mirror/log/LogTable.h"
#include "Mirror/log/Numbers.h"
#include "Mirror/log/OwnTurn.h"
#include "Mirror/log/Pending.h"
#include "Mirror/log/WaitingReferences.h"

namespace Tovo::NboAttrLog {

/// Stores them, and lets those wait whose targets have not arrived: until the turn ends the holder
/// keeps what it has, then null, and gets the target when that is carried. A reference waits no
/// more when another one arrives, or somebody here sets the attribute. Part of an adapter.
///
/// All functions that store belong to the turn that is open; what loses its place lives until that
/// is published.
class References {
 public:
  References(const Numbers& numbers, const Pending& pending, OwnTurn& turn) noexcept
      : numbers_(numbers), pending_(pending), turn_(turn) {}
  References(const References&) = delete;
  References& operator=(const References&) = delete;

  /// Stores a pointer, null too.
  static void pointTo(Entity& holder, const LogAttribute& attribute, Entity* target);
  /// Stores the entry of a reference collection.
  static void put(Entity& holder, const LogAttribute& attribute, const void* key, Entity& target);
  /// Erases an entry of a collection that does not own; `bytes`: its encoded key.
  void erase(Entity& holder, const LogAttribute& collection, const void* key,
             const std::string& bytes);
  /// Throws StreamException when a target of that type is not of the attribute's type.
  static void checkType(Attribute attribute, TovoTypeBase target);

  /// Waits for the target to be carried under a number; no key: a pointer. Throws std::bad_alloc.
  void await(Entity& holder, AttributeId attribute, std::string key, uint32_t target);
  /// Waits no more. Throws std::bad_alloc where there is a key.
  void forget(Entity& holder, AttributeId attribute, const std::string& key) {
    if (!waiting_.empty()) waiting_.remove({&holder, attribute, key});
  }
  /// All of a holder.
  void forgetAll(Entity& holder) noexcept { waiting_.removeAll(holder); }
  /// Of a collection those whose keys are not said to stay: `stays(key)`.
  template <class Stays>
  void forgetUnless(Entity& holder, AttributeId collection, const Stays& stays) {
    waiting_.removeUnless(holder, collection, stays);
  }
  void clear() noexcept { waiting_.clear(); }
  bool anyWaits() const noexcept { return !waiting_.empty(); }
  size_t bytes() const noexcept { return waiting_.bytes(); }

  /// Throws StreamException when a reference of another type waits for the number.
  void checkWaiting(uint32_t number, TovoTypeBase type) const;
  /// The entity is carried under the number from now on: what waited for it is stored. In a turn of
  /// its own where none is open.
  void resolve(uint32_t number, Entity& entity) {
    if (!waiting_.empty()) resolveWaiting(number, entity);
  }
  /// The peer's turn is over: what it referred to and has not sent is null for now. In a turn of
  /// its own where none is open.
  void endTurn();

 private:
  void resolveWaiting(uint32_t number, Entity& entity);
  void store(const Place& reference, Entity* target);
  void tellGuest(const Place& reference);

  const Numbers& numbers_;
  const Pending& pending_;
  OwnTurn& turn_;
  WaitingReferences waiting_;
};

/// The entity loses a place in the tree, or a reference: its observers are not to hear of its end
/// before the turn that is open is published.
void keepForTurn(Entity* entity);

}  // namespace Tovo::NboAttrLog
