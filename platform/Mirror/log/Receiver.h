// How messages become changes.
#pragma once

#include <cstdint>
#include <string>

#include "Mirror/log/Carrier.h"
#include "Mirror/log/OwnTurn.h"
#include "Mirror/log/Policy.h"
#include "Tovo/AttrLog/In.h"

namespace Tovo::NboAttrLog {

/// Decodes what the peer says of carried entities, and stores it. What is stored of an observed
/// entity is held by the turn that is open until that is published. Part of an adapter.
class Receiver {
 public:
  Receiver(Carrier& carrier, OwnTurn& turn, Policy& policy) noexcept
      : carrier_(carrier), numbers_(carrier.numbers()), turn_(turn), policy_(policy) {}
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  /// Applies one message about the entity of a number, as part of the turn that is open; one about
  /// an entity that is gone is counted and skipped. Throws StreamException,
  /// WriteUpdateFromReadOnlyProxyException and AdapterGone; a message that does not decode has
  /// changed nothing.
  void apply(uint32_t number, AttributeId id, In& in);
  /// The same, about an entity that is carried.
  void apply(const Numbers::Carried& known, AttributeId id, In& in);
  /// Messages of the runtime itself, and ids that the type does not have.
  void doBaseTovoNboAttrLogSaMsg(Entity& entity, AttributeId id, In& in);

  StreamDemuxer* streamDemuxer() const noexcept { return demuxer_; }
  /// Null: none. Outlives the adapter or is taken off before.
  void streamDemuxerIs(StreamDemuxer* demuxer) noexcept { demuxer_ = demuxer; }

  struct Counters {
    uint64_t messages = 0;
    uint64_t unknownEntities = 0;    ///< messages for entities that are gone here
    uint64_t unknownAttributes = 0;  ///< messages with an id that the type does not have
  };
  const Counters& counters() const noexcept { return counters_; }
  /// A guest has sent something since it was told last what is applied.
  bool owesTaken() const noexcept { return owesTaken_; }
  void owesTakenIs(bool owes) noexcept { owesTaken_ = owes; }

 private:
  bool isPending(const Entity& entity, AttributeId attribute) const noexcept {
    return carrier_.pending().has(numbers_.of(entity), attribute);
  }
  bool isPending(const Entity& entity, AttributeId collection, const std::string& key) const {
    return carrier_.pending().has(numbers_.of(entity), collection, key);
  }
  CollectionFlow* flowOf(const Entity& owner, AttributeId collection) const noexcept;
  bool isTakenByDemuxer(Entity& entity, AttributeId id, In& in);
  void checkMayWrite(const Numbers::Carried& target, AttributeId id);
  void applyNow(const Numbers::Carried& target, AttributeId id, In& in);
  void applyOther(const Numbers::Carried& target, const LogAttribute* attribute, AttributeId id,
                  In& in);
  void applyValue(const Numbers::Carried& target, const LogAttribute& attribute, In& in);
  void applyObserved(const Numbers::Carried& target, const LogAttribute& attribute, In& in);
  void applyValues(const Numbers::Carried& target, In& in);
  void applyOneByOne(Numbers::Carried target, AttributeId firstId, AttributeId lastId, In& in);
  bool readTarget(Entity& holder, const LogAttribute& attribute, const std::string& key, In& in,
                  Entity*& target);
  void applyPointer(Entity& entity, const LogAttribute& attribute, In& in);
  void applyOwned(Entity& owner, const LogAttribute& collection, In& in);
  void checkNumberOf(uint32_t id, const LogAttribute& collection, const Entity* element);
  void applyReferenceEntry(Entity& owner, const LogAttribute& collection, In& in);
  void applyEntry(Entity& owner, const LogAttribute& collection, In& in);
  void applyRemoval(Entity& owner, const LogAttribute& collection, In& in);
  void eraseEntry(Entity& owner, const LogAttribute& collection, const void* key,
                  const std::string& bytes);
  void endTransfer(Entity& owner, const LogAttribute& collection);

  Carrier& carrier_;
  Numbers& numbers_;
  OwnTurn& turn_;
  Policy& policy_;
  StreamDemuxer* demuxer_ = nullptr;
  Counters counters_;
  bool owesTaken_ = false;
};

}  // namespace Tovo::NboAttrLog
