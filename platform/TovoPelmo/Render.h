// The generic text form of registered values, printed and read by their descriptors.
#pragma once

#include <cstdint>
#include <string>

#include "Pelmo/String.h"
#include "Tovo/CharRange.h"
#include "Tovo/Types.h"
#include "TovoPelmo/TextPlan.h"

namespace TovoPelmo {

namespace Impl {

/// "Value('Stp::PortId', portPriority=128, portNumber=5)"; the bare field for a type of one field,
/// "Value('Stp::Constants')" for one without, the held alternative of a union.
Pelmo::String valueToStrep(const Tovo::TovoModule* module, uint32_t index, const void* value);

}  // namespace Impl

/// Prints a value of a module's type.
template <class T>
void appendValue(std::string& out, const T& value);

/// Reads the same form into a constructed value, field by field. Throws RangeException with the
/// field's name; the value is then to be thrown away.
template <class T>
void parseValue(Tovo::CharRange& text, T& value);

namespace Impl {

void appendAlternative(std::string& out, Tovo::TovoTypeBase type, const void* value);
void parseFields(Tovo::CharRange& text, Tovo::TovoTypeBase type, void* value);

/// Made when it is asked for first, and never destroyed: other statics may print at exit.
template <class T>
const TextPlan& textPlan() {
  static const TextPlan& plan = *new TextPlan(T::tovoStaticType());
  return plan;
}

}  // namespace Impl

template <class T>
void appendValue(std::string& out, const T& value) {
  if constexpr (requires { value.heldIndex(); }) {
    Impl::appendAlternative(out, T::tovoStaticType(), &value);
  } else {
    Impl::textPlan<T>().print(out, &value);
  }
}

template <class T>
void parseValue(Tovo::CharRange& text, T& value) {
  // The plan knows only whether a text is good. Where it is not, reading it again says why.
  if (!Impl::textPlan<T>().read(text, &value)) {
    Impl::parseFields(text, T::tovoStaticType(), &value);
  }
}

}  // namespace TovoPelmo
