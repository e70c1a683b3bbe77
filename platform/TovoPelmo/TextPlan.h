// How the text of a type is made and read, worked out once for each type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Tovo/CharRange.h"
#include "Tovo/Module.h"
#include "Tovo/ValueOps.h"

namespace TovoPelmo {

/// The text of a record as a row of steps: a piece that is always the same, then a value at a fixed
/// place. Records inside the record are part of the row, so neither printing nor reading looks at a
/// descriptor or calls itself.
class TextPlan {
 public:
  /// For a value type that is no union.
  explicit TextPlan(Tovo::TovoTypeBase type);

  void print(std::string& out, const void* value) const;
  /// Reads into a constructed value. False, and the position unchanged, where the text is not that
  /// of a value in its range; some fields may then have been read.
  bool read(Tovo::CharRange& text, void* value) const;

 private:
  enum class Form : uint8_t {
    u8,
    u16,
    u32,
    u64,
    boolean,
    octetEnumeration,
    intEnumeration,
    bounded,  ///< by ValueOps::putText
    any,      ///< by ValueOps::print
  };
  struct Limits {
    uint64_t low = 0;
    uint64_t high = ~uint64_t{0};
  };
  struct Step {
    uint32_t piece;  // its place among pieces_
    uint32_t pieceSize;
    uint32_t offset;
    Form form;
    bool limited;
    Limits limits;  // of the number that it is, where limited
    const Tovo::ValueOps* ops;
    Tovo::TovoTypeBase type;  // of an enumeration
  };

  static Form primitiveForm(Tovo::TypeCode code, size_t size) noexcept;
  void addFields(Tovo::TovoTypeBase type, size_t offset, Limits limits);
  void addField(Tovo::Attribute field, size_t offset, Limits limits);
  bool readStep(const Step& step, const char*& at, const char* end, void* field) const;

  std::vector<Step> steps_;
  std::string pieces_;      // padded, see copyPiece
  uint32_t lastPiece_ = 0;  // what stands behind the last value
  uint32_t lastPieceSize_ = 0;
  size_t most_ = 0;  // bytes of everything but the values of any length
};

}  // namespace TovoPelmo
