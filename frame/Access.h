// Reflection on members that are not simply stored, by their typed functions.
#pragma once

#include <type_traits>

#include "Tovo/GenericIf.h"

namespace Frame {

namespace Impl {

template <class Get>
struct Getter;

template <class T, class Result>
struct Getter<Result (T::*)() const> {
  using Object = T;
  using Value = std::decay_t<Result>;
};
template <class T, class Result>
struct Getter<Result (T::*)() const noexcept> : Getter<Result (T::*)() const> {};

}  // namespace Impl

/// A computed attribute: get only.
template <auto get>
uint8_t queryAccess(void* result, void* object, uint32_t code, const void*, const void*) {
  using Call = Impl::Getter<decltype(get)>;
  if (code != Tovo::OperationCode::get) return Tovo::ResultCode::notSupported;
  *static_cast<typename Call::Value*>(result) =
      (static_cast<const typename Call::Object*>(object)->*get)();
  return Tovo::ResultCode::done;
}

/// A view with a getter and a setter.
template <auto get, auto set>
uint8_t viewAccess(void* result, void* object, uint32_t code, const void* other,
                   const void* argument) {
  using Call = Impl::Getter<decltype(get)>;
  if (code != Tovo::OperationCode::set) {
    return queryAccess<get>(result, object, code, other, argument);
  }
  (static_cast<typename Call::Object*>(object)->*set)(
      *static_cast<const typename Call::Value*>(argument));
  return Tovo::ResultCode::done;
}

/// An alternative of a union: "not present" while another one is held.
template <auto get, auto set, uint8_t index>
uint8_t alternativeAccess(void* result, void* object, uint32_t code, const void* other,
                          const void* argument) {
  const bool held =
      static_cast<typename Impl::Getter<decltype(get)>::Object*>(object)->heldIndex() == index;
  if (code == Tovo::OperationCode::get && !held) return Tovo::ResultCode::notSupported;
  return viewAccess<get, set>(result, object, code, other, argument);
}

/// An attribute addressed by a number, which comes through `other`.
template <class T, auto get, auto set, auto del>
uint8_t indexedAccess(void* result, void* object, uint32_t code, const void* other,
                      const void* argument) {
  if (!other) return Tovo::ResultCode::notSupported;
  const uint8_t index = *static_cast<const uint8_t*>(other);
  auto& value = *static_cast<T*>(object);
  using Value = decltype((value.*get)(index));
  switch (code) {
    case Tovo::OperationCode::get:
      *static_cast<Value*>(result) = (value.*get)(index);
      return Tovo::ResultCode::done;
    case Tovo::OperationCode::set:
      (value.*set)(index, *static_cast<const Value*>(argument));
      return Tovo::ResultCode::done;
    case Tovo::OperationCode::del:
      (value.*del)(index);
      return Tovo::ResultCode::done;
    default:
      return Tovo::ResultCode::notSupported;
  }
}

}  // namespace Frame
