// A small module as a library would bring it, written by hand: values with and without fields, an
// enumeration wider than a byte and an entity.
#pragma once

#include <string>

#include "Pelmo/String.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/Entity.h"
#include "Tovo/Module.h"
#include "TovoPelmo/Render.h"

extern "C" {
extern const Tovo::TovoModule _Sample_0123456789abcdef_tovoModule;
}

namespace Sample {

enum class Colour : int { red = 0, green = 5, blue = -1 };

/// What the values share: text and type by their place in the module.
template <class Self, uint32_t index>
struct Value {
  static Tovo::TovoTypeBase tovoStaticType() noexcept {
    return {&_Sample_0123456789abcdef_tovoModule, index};
  }
  void appendText(std::string& out) const {
    TovoPelmo::appendValue(out, static_cast<const Self&>(*this));
  }
  void parse(Tovo::CharRange& text) { TovoPelmo::parseValue(text, static_cast<Self&>(*this)); }
  void encode(uint8_t*) const noexcept {}
};

struct Nothing : Value<Nothing, 0> {
  static constexpr size_t attrLogBytes = 0;
  Nothing() = default;
  explicit Nothing(Tovo::CharRange& text) { parse(text); }
  static Nothing decode(const uint8_t*) noexcept { return {}; }
  bool operator==(const Nothing&) const { return true; }
};

/// One field, so its text is bare. Without a hash.
struct Level : Value<Level, 1> {
  static constexpr size_t attrLogBytes = 1;
  Level() = default;
  explicit Level(uint8_t value) : level(value) {}
  explicit Level(Tovo::CharRange& text) { parse(text); }
  void encode(uint8_t* to) const noexcept { *to = level; }
  static Level decode(const uint8_t* from) noexcept { return Level(*from); }
  friend auto operator<=>(const Level& a, const Level& b) { return a.level <=> b.level; }
  friend bool operator==(const Level& a, const Level& b) { return a.level == b.level; }
  uint8_t level = 7;  // 1 to 200
};

/// Fields of several types, one of them a value that has a range, and no order.
struct Mark : Value<Mark, 2> {
  static constexpr size_t attrLogBytes = 0;
  Mark() = default;
  explicit Mark(Tovo::CharRange& text) { parse(text); }
  static Mark decode(const uint8_t*) noexcept { return {}; }
  friend bool operator==(const Mark& a, const Mark& b) {
    return a.level == b.level && a.label == b.label && a.at == b.at && a.colour == b.colour;
  }
  Level level;
  Pelmo::String label;
  Tovo::Seconds at = 0;
  Colour colour = Colour::red;
  static constexpr uint16_t limit = 500;
};

class Thing : public Tovo::Entity {
 public:
  explicit Thing(const Pelmo::String& name) : Entity(name) {}
  ~Thing() override { publisher_.upstreamIs(nullptr); }
  static Tovo::TovoTypeBase tovoStaticType() noexcept {
    return {&_Sample_0123456789abcdef_tovoModule, 4};
  }
  const Tovo::TovoModule* typeData() const noexcept override { return tovoStaticType().module; }
  Tovo::TovoTypeBase tovoType() const noexcept override { return tovoStaticType(); }
};

}  // namespace Sample

template <>
struct Tovo::TypeOf<Sample::Colour> {
  static TovoTypeBase type() noexcept { return {&_Sample_0123456789abcdef_tovoModule, 3}; }
};
