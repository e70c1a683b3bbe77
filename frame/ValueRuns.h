// Attributes that are written and read like one record.
#pragma once

#include <cstdint>

#include "Tovo/AttrLog/Codec.h"
#include "Tovo/AttrLog/ValueRun.h"
#include "Tovo/Entity.h"

namespace Frame {

namespace Impl {

template <class Member>
struct MemberOf;
template <class Object, class T>
struct MemberOf<T Object::*> {
  using Owner = Object;
  using Value = T;
};

template <auto member>
using OwnerOf = typename MemberOf<decltype(member)>::Owner;
template <auto member>
using CodecOf = Tovo::NboAttrLog::Codec<typename MemberOf<decltype(member)>::Value>;

// The message is nowhere part of the entity: what is side by side in both can be copied at once.
template <auto... members>
void encodeRun(uint8_t* __restrict to, const Tovo::Entity& entity) noexcept {
  ((CodecOf<members>::put(to, static_cast<const OwnerOf<members>&>(entity).*members),
    to += CodecOf<members>::size),
   ...);
}

template <auto... members>
void decodeRun(const uint8_t* __restrict from, Tovo::Entity& entity) noexcept {
  ((Tovo::NboAttrLog::decodeInto(static_cast<OwnerOf<members>&>(entity).*members, from),
    from += CodecOf<members>::size),
   ...);
}

}  // namespace Impl

/// The attributes from one id to another by the members that store them.
template <Tovo::AttributeId first, Tovo::AttributeId last, auto... members>
constexpr Tovo::NboAttrLog::ValueRun valueRun() {
  return {first, last, static_cast<uint32_t>((Impl::CodecOf<members>::size + ...)),
          &Impl::encodeRun<members...>, &Impl::decodeRun<members...>};
}

}  // namespace Frame
