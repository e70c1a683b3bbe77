// Values that travel together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Tovo/Types.h"

namespace Tovo {
class Entity;
struct ValueOps;
}  // namespace Tovo

namespace Tovo::NboAttrLog {

struct LogAttribute;

/// Attributes of a type that follow one another in ascending ids, each with a value of fixed size:
/// their values can be sent in one message, back to back. What is asked of each value beforehand is
/// known of the run, so that a whole entity is encoded and decoded like one record.
class ValueRun {
 public:
  void add(const LogAttribute& attribute);

  size_t count() const noexcept { return count_; }
  AttributeId first() const noexcept { return first_; }
  AttributeId last() const noexcept { return last_; }
  /// Of the values.
  size_t encodedSize() const noexcept { return encodedSize_; }
  /// Which word of a set of attributes by ordinal they are in, all of them, and their bits there.
  uint32_t word() const noexcept { return word_; }
  uint64_t bits() const noexcept { return bits_; }

  /// Of an entity of the type, into room for encodedSize() bytes.
  void encode(uint8_t* to, const Entity& entity) const noexcept;
  /// Stores what encode() wrote. Nobody is told.
  void decode(const uint8_t* from, Entity& entity) const noexcept;

 private:
  // How some bytes of the message become some of the entity.
  struct Step {
    enum class Kind : uint8_t { bytes, truths, number32, value };
    Kind kind;
    uint32_t offset;
    uint32_t size;
    const ValueOps* ops;
  };
  static void addStep(std::vector<Step>& steps, Step::Kind kind, const LogAttribute& attribute);

  std::vector<Step> encode_;
  std::vector<Step> decode_;
  size_t count_ = 0;
  size_t encodedSize_ = 0;
  uint64_t bits_ = 0;
  uint32_t word_ = 0;
  AttributeId first_ = 0;
  AttributeId last_ = 0;
};

}  // namespace Tovo::NboAttrLog
