// What one connection still has to be told of one collection.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "Tovo/Types.h"

namespace Tovo::NboAttrLog {

/// Keys, in their encoded form, that changed since the collection was sent, and how far its first
/// transfer has come. Part of a flow, which owns it. The bytes that the keys take are counted in a
/// number of somebody else; null: of nobody.
class CollectionFlow {
 public:
  CollectionFlow(AttributeId collection, bool isSynced, size_t* heldBytes);
  ~CollectionFlow();
  CollectionFlow(const CollectionFlow&) = delete;
  CollectionFlow& operator=(const CollectionFlow&) = delete;

  AttributeId collection() const noexcept { return collection_; }

  /// Where its whole transfer stands.
  enum class Transfer : uint8_t {
    due,       ///< it has not begun
    underWay,  ///< the begin marker is sent, the end marker is not
    complete,
  };
  Transfer transfer() const noexcept { return transfer_; }
  void transferIs(Transfer transfer) noexcept { transfer_ = transfer; }

  /// The key behind which a transfer that was interrupted goes on.
  void bookmarkIs(std::string key);
  std::optional<std::string> takeBookmark();
  /// What stood under a key has left, or stands at the end now: the transfer cannot go on there.
  void bookmarkGone(const std::string& key) noexcept;

  /// Each key once, the oldest first. `left`: an element that the peer knows has left, so that one
  /// that is there by then is another.
  void dirtyKeyIs(std::string key, bool left);
  bool hasDirtyKey(const std::string& key) const { return keys_.contains(key); }
  void dropDirtyKey(const std::string& key);
  const std::string* firstDirtyKey() const noexcept {
    return order_.empty() ? nullptr : order_.front();
  }
  size_t dirtyKeys() const noexcept { return keys_.size(); }
  bool hasLeft(const std::string& key) const;
  /// The peer was told, or says itself, that the element is not there any more.
  void leavingIsKnown(const std::string& key);
  /// Forgets dirty keys and the bookmark; a transfer that is under way has to begin again.
  void freeResyncState() noexcept;

  /// What a guest's whole transfer has mentioned: the host goes by its own knowledge of these keys,
  /// and deletes others at the end.
  void mentionedIs(std::string key);
  bool isMentioned(const std::string& key) const { return mentioned_.contains(key); }
  void forgetMentioned() noexcept;

  /// The flow has lost its adapter: nothing is counted any more, and all keys are forgotten.
  void forget() noexcept;

 private:
  friend class FlowOut;

  void holds(size_t bytes) noexcept;
  void drops(size_t bytes) noexcept;
  void clearDirtyKeys() noexcept;

  const AttributeId collection_;
  Transfer transfer_;
  bool hasBookmark_ = false;
  std::string bookmark_;
  std::deque<const std::string*> order_;        // of keys_
  std::unordered_map<std::string, bool> keys_;  // whether an element that the peer knows has left
  std::unordered_set<std::string> mentioned_;
  size_t* heldBytes_;
  std::unique_ptr<CollectionFlow> next_;  // of the same flow
};

}  // namespace Tovo::NboAttrLog
