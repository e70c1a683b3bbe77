// What the attribute log has to know of an entity type, looked up once.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Tovo/AttrLog/ValueRun.h"
#include "Tovo/Module.h"

namespace Tovo::NboAttrLog {

/// A run of a type or its bases, and its attributes as a set: their bits in one word of it.
struct LogRun : ValueRun {
  uint64_t bits;
  uint32_t word;
};

/// One attribute of a type or its bases.
struct LogAttribute {
  Attribute attribute;
  const ValueOps* ops;     ///< of the value, or of the elements of a value collection; else null
  const ValueOps* keyOps;  ///< of a collection
  uint32_t ordinal;        ///< the place among all attributes, for sets of bits
  uint32_t offset;         ///< where it is stored
  uint32_t encodedSize;    ///< of a value or pointer; variableSize where it depends on the value
  AttributeId id;
  AttributeKind kind;
  bool logged;
  const LogRun* run = nullptr;  ///< the one that begins here
  // Of `ops`, for a value of fixed size; else null.
  void (*encode)(uint8_t* to, const void* value) noexcept = nullptr;
  void (*decode)(const uint8_t* from, void* value) noexcept = nullptr;

  const void* storedIn(const Entity& entity) const noexcept {
    return reinterpret_cast<const char*>(&entity) + offset;
  }
  void* storedIn(Entity& entity) const noexcept {
    return reinterpret_cast<char*>(&entity) + offset;
  }
};

/// One of the values that an entity is constructed from.
struct ConstructorValue {
  const ValueOps* ops;
  uint32_t offset;  ///< where it is stored; notStored: the entity's name
};

/// The attributes of a type in ascending ids, those of the bases first.
class LogTable {
 public:
  /// Built on first use; lives as long as the process.
  static const LogTable& of(TovoTypeBase type);

  TovoTypeBase type() const noexcept { return type_; }
  const EntityHooks& hooks() const noexcept { return *hooks_; }
  uint32_t total() const noexcept { return total_; }
  const LogAttribute& at(uint32_t ordinal) const noexcept { return attributes_[ordinal]; }

  /// The name or key, then the parameters in order of declaration.
  const std::vector<ConstructorValue>& constructorValues() const noexcept { return constructor_; }
  /// Of the first 64 attributes the logged ones, as bits by ordinal.
  uint64_t loggedBits() const noexcept { return loggedBits_; }
  /// Those of them that are values of fixed size.
  uint64_t fixedBits() const noexcept { return fixedBits_; }

  /// Of the type and its bases, as they travel.
  std::span<const LogRun> runs() const noexcept { return runs_; }

  /// The attribute that travels under an id; null when none does.
  const LogAttribute* logged(AttributeId id) const noexcept {
    const uint32_t place = static_cast<uint32_t>(id) - firstId_;
    if (place >= byId_.size()) return nullptr;
    return byId_[place];
  }

 private:
  explicit LogTable(TovoTypeBase type);
  void findRuns();

  TovoTypeBase type_;
  const EntityHooks* hooks_;
  uint32_t firstId_ = 0;
  uint32_t total_ = 0;
  std::vector<const LogAttribute*> byId_;
  std::vector<LogAttribute> attributes_;
  uint64_t loggedBits_ = 0;
  uint64_t fixedBits_ = 0;
  std::vector<ConstructorValue> constructor_;
  std::vector<LogRun> runs_;
};

}  // namespace Tovo::NboAttrLog
