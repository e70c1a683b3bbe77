// Where a process keeps its root entities, by path.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Pelmo/Ptr.h"
#include "Tovo/Entity.h"
#include "Tovo/GenericIf.h"

namespace Tovo {

/// A path that is wrong, or names nothing. `what` says which part and what there is instead.
class PathException : public std::runtime_error {
 public:
  explicit PathException(const std::string& message, std::string wanted = {},
                         std::vector<std::string> known = {})
      : std::runtime_error(message), wanted_(std::move(wanted)), known_(std::move(known)) {}

  /// The part that is not there, and the names that are; empty where it is something else.
  const std::string& wanted() const noexcept { return wanted_; }
  const std::vector<std::string>& known() const noexcept { return known_; }

 private:
  std::string wanted_;
  std::vector<std::string> known_;
};

/// Root entities under paths such as "/stp/hw": segments of any characters but '/', '[', ']' and
/// control characters, each behind a slash. Holds a reference on each root. Roots know the
/// directory only through it: an entity can be mounted in several. Each operation costs the
/// logarithm of how many there are, unless it says otherwise.
class Directory {
 public:
  Directory() = default;
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory();

  /// The entity is not null. Peers may only read it, at any path below, where there is a reason
  /// why: they are told it. Throws PathException when the path is wrong or taken, or lies below or
  /// above a mounted one; nothing has changed then.
  void mount(std::string_view path, const Pelmo::Ptr<Entity>& entity, std::string whyReadOnly = {});
  /// Null when nothing was mounted there.
  Pelmo::Ptr<Entity> unmount(std::string_view path);

  /// Creates an entity by the name of its type and mounts it. Its name is the last segment. Throws
  /// PathException, TypeException for a type that does not exist or is no entity type, and
  /// NewEntityArgsException; nothing has changed then.
  Pelmo::Ptr<Entity> newEntity(std::string_view path, std::string_view typeName,
                               ConstructorArguments arguments = {});

  using Mounts = std::map<std::string, Pelmo::Ptr<Entity>, std::less<>>;
  const Mounts& mounts() const noexcept { return mounts_; }
  Entity* mounted(std::string_view path) const noexcept;
  /// What is mounted at or above a path; mounts().end() when nothing is.
  Mounts::const_iterator mountAbove(std::string_view path) const noexcept;
  /// The path at which an entity is mounted, the first of several, or null.
  const std::string* mountPath(const Entity& entity) const noexcept;

  /// Why peers may only read what is mounted at a path; empty where they may write.
  std::string_view whyReadOnly(std::string_view root) const noexcept;
  /// While they are, peers can neither make nor remove roots. Default: they can.
  bool rootsAreFixed() const noexcept { return rootsAreFixed_; }
  void rootsAreFixedIs(bool fixed) noexcept { rootsAreFixed_ = fixed; }

  /// Counts mounts and unmounts: who looks after something that is mounted compares it.
  uint64_t changes() const noexcept { return changes_; }
  /// The path of one of them, counted from 1; null when that many have been since (4096 or more)
  /// that it is not known any more. Cost: constant.
  const std::string* changedPath(uint64_t change) const noexcept;

  /// The directories of the process, for paths in messages.
  static const Directory* first() noexcept;
  const Directory* next() const noexcept { return next_; }

 private:
  /// A root, and where it is mounted: a key of mounts_.
  using Place = std::pair<const Entity*, const std::string*>;
  struct ByRoot {
    bool operator()(const Place& a, const Place& b) const noexcept {
      return a.first != b.first ? a.first < b.first : *a.second < *b.second;
    }
  };

  void noteChange(std::string_view path);
  void enter() noexcept;
  void leave() noexcept;

  Mounts mounts_;
  std::set<Place, ByRoot> places_;
  std::deque<std::string> changed_;                           // the last paths
  std::map<std::string, std::string, std::less<>> readOnly_;  // reasons by path
  uint64_t changes_ = 0;
  Directory* next_ = nullptr;
  bool entered_ = false;
  bool rootsAreFixed_ = false;
};

}  // namespace Tovo
