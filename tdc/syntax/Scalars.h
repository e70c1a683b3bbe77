// The types that the language has without a declaration. A new one is a row here, and one among the
// primitives of the runtime; generated code does not compile where that is missing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tdc {

/// What a scalar's values are, which decides how they are written and what may be done with them.
enum class ScalarForm {
  integer,  ///< unsigned
  real,
  boolean,
  text,
};

struct Scalar {
  const char* word;  ///< in a description
  ScalarForm form;
  unsigned bytes;          ///< in the attribute log; 0 where that depends on the value
  const char* cppType;     ///< in generated code
  const char* code;        ///< its constant in Tovo::PrimitiveCode
  const char* listedName;  ///< in a module's list of type names; empty where that leaves it out
  bool key;                ///< whether it may be the key of a collection
  bool counter;            ///< whether it may count

  bool isInteger() const { return form == ScalarForm::integer; }
  /// An integer whose bits can have names; views on bits are computed in 32 bits.
  bool hasBits() const { return isInteger() && bytes <= 4; }
  /// The largest number of an integer, else 0.
  uint64_t highest() const { return isInteger() ? ~uint64_t{0} >> (64 - 8 * bytes) : 0; }
};

inline constexpr Scalar scalars[] = {
    // word, form, bytes, C++ type, code, listed name, key, counter
    {"u8", ScalarForm::integer, 1, "uint8_t", "u8", "U8", false, false},
    {"u16", ScalarForm::integer, 2, "uint16_t", "u16", "U16", true, true},
    {"u32", ScalarForm::integer, 4, "uint32_t", "u32", "U32", false, true},
    {"u64", ScalarForm::integer, 8, "uint64_t", "u64", "U64", false, false},
    {"bool", ScalarForm::boolean, 1, "bool", "boolean", "", false, false},
    {"String", ScalarForm::text, 0, "Pelmo::String", "string", "Tovo::String", true, false},
    {"Seconds", ScalarForm::real, 8, "Tovo::Seconds", "seconds", "Tovo::Seconds", false, false},
};

/// The words of those for which `which` holds.
template <class Which>
std::vector<std::string> scalarWords(const Which& which) {
  std::vector<std::string> words;
  for (const Scalar& scalar : scalars) {
    if (which(scalar)) words.emplace_back(scalar.word);
  }
  return words;
}

}  // namespace tdc
