// What the tests of mirroring share: pairs of connections, random trees, replayed publications.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Mirror/Connection.h"
#include "Pelmo/Publisher.h"
#include "Tovo/Directory.h"
#include "Tovo/Entity.h"
#include "Tovo/ValueOps.h"

namespace Mirror {

using Pelmo::Ptr;
using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Directory;
using Tovo::Entity;
using Tovo::NboAttrLog::Connection;
using Tovo::NboAttrLog::GuestSide;
using Tovo::NboAttrLog::Limits;

/// Assertions throw, as in a server; after each test nothing is left alive.
class Test : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

 private:
  size_t liveBefore_ = 0;
};

/// Two connected descriptors.
struct Sockets {
  Sockets();
  int a;
  int b;
};

bool readable(int fd);

/// Passes bytes between two connections, as many at a time as it is told; buffers of the system are
/// as small as they can be, so that writers stall.
class Relay {
 public:
  Relay();
  ~Relay();
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  int hostFd() const { return a_.a; }
  int guestFd() const { return b_.a; }
  /// False when there was nothing to move.
  bool toGuest(size_t bytes) { return move(a_.b, b_.b, bytes, forward_); }
  bool toHost(size_t bytes) { return move(b_.b, a_.b, bytes, back_); }

 private:
  static bool move(int from, int to, size_t bytes, std::string& held);

  Sockets a_;
  Sockets b_;
  std::string forward_;
  std::string back_;
};

/// A host and a guest with a directory each, over a socket in one process.
struct Pair {
  explicit Pair(Limits hostLimits = {}, Limits guestLimits = {});

  /// A root of the host by the name of its type.
  Ptr<Entity> root(std::string_view path, std::string_view type);
  /// The mirror of a path, everything transferred. Fails the test when it is refused.
  Entity& mirror(std::string_view path, bool readOnly = true);
  /// Until neither side has anything to do; one that is not there any more has not.
  void settle();
  void expectOpen() const;

  Directory hostDirectory;
  Directory guestDirectory;
  std::unique_ptr<Connection> host;
  std::unique_ptr<Connection> guest;
};

void expectSame(const Entity& a, const Entity& b);

/// Writes at random through reflection; every value has a form that the log can carry and that
/// equals itself. References lead to elements of the tree, or of another one beside it, and are
/// cleared when these go.
class Writer {
 public:
  Writer(Entity& root, uint64_t seed, Entity* beside = nullptr)
      : root_(root), beside_(beside), random_(seed) {}

  /// One change somewhere, or an attempt that changes nothing.
  void step();
  void steps(int count);
  /// Sets most attributes and puts so many into every collection.
  void fill(int each = 5);
  /// Tries to change each attribute and each collection that is there now, or each reference.
  void changeAll(bool referencesOnly = false);
  /// Sets all values of one entity.
  void burst();
  /// Deletes an element and mostly makes it again as it was, with other things below it. References
  /// lead nowhere then, or to what has gone.
  void remake();
  uint32_t below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }
  /// Deletes an element and, if told to, every reference to it or to what is below it.
  void remove(Entity& owner, Attribute collection, const void* key, bool references = true);
  /// Clears references to what is not in the tree: they are null at the other end.
  void clearDangling();

 private:
  using Value = std::unique_ptr<Tovo::ValueBuffer>;

  Value value(const Tovo::ValueOps& ops);
  Value key(const Tovo::ValueOps& ops);
  void change(Entity& entity, Attribute attribute);
  void insert(Entity& owner, Attribute collection);
  void erase(Entity& owner, Attribute collection);
  void fillBelow(Entity& entity, int each);
  Entity& anyEntity();
  /// Of both trees.
  std::vector<Entity*> all() const;
  void clearReferences(const std::function<bool(const Entity*)>& to);
  Entity* target(Attribute attribute);

  Entity& root_;
  Entity* beside_;
  std::mt19937_64 random_;
};

/// Every entity of a tree, the root first.
std::vector<Entity*> entitiesOf(Entity& root);

/// A tree as a plain map: paths to encoded values, targets and keys.
using Plain = std::map<std::string, std::string>;
Plain plainOf(const Entity& root);

/// Builds a plain map from what a tree publishes, beginning with the tree as it is. Publications
/// that do not fit what was published before are faults of the test.
class Replay : public Pelmo::Observer {
 public:
  explicit Replay(Entity& root);
  void handleChange(const Pelmo::Change& change) override;

  /// What arrives from now on does not belong to what was published so far.
  void turnIsOver() { arrived_.clear(); }
  void expectComplete() const;
  size_t changes() const noexcept { return changes_; }

 private:
  void collectionChanged(Entity& owner, Attribute collection, const Pelmo::Change& change);

  Entity& root_;
  Plain plain_;
  std::set<std::string> arrived_;  // came with an element, and may be published behind it
  size_t changes_ = 0;
};

/// Calls a function on each change below a node.
class Watch : public Pelmo::Observer {
 public:
  using Handler = std::function<void(Entity& source, const Pelmo::Change& change)>;
  Watch(Entity& entity, Handler handler, bool recursive = true);
  void handleChange(const Pelmo::Change& change) override;

 private:
  Handler handler_;
};

/// "Ethernet7".
Pelmo::String portName(unsigned number);

std::string hex(std::string_view bytes);
std::string fromHex(std::string_view digits);

}  // namespace Mirror
