// What the functions of an enumeration do.
#pragma once

#include <ostream>

#include "Tovo/EnumType.h"

namespace Frame {

template <class E>
E literalOf(int64_t number) {
  return static_cast<E>(Tovo::EnumType::instance(number, Tovo::TypeOf<E>::type()));
}

template <class E>
E literalOf(const Pelmo::String& name) {
  return static_cast<E>(Tovo::EnumType::instance(name, Tovo::TypeOf<E>::type()));
}

template <class E>
Pelmo::String literalName(E value) {
  return Tovo::EnumType::stringValue(static_cast<int64_t>(value), Tovo::TypeOf<E>::type());
}

template <class E>
void parseLiteral(Tovo::CharRange& text, E* value) {
  *value = static_cast<E>(Tovo::EnumType::sequenceToValue(text, Tovo::TypeOf<E>::type()));
}

template <class E>
std::ostream& printLiteral(std::ostream& os, E value) {
  return Tovo::EnumType::operatorLessLess(os, static_cast<int64_t>(value), Tovo::TypeOf<E>::type());
}

}  // namespace Frame
