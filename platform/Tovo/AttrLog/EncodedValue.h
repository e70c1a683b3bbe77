// A value as it travels, kept by itself: what the keys of collections are remembered as.
#pragma once

#include <string>

#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {

/// Into `bytes`, whose memory is used again.
inline void encode(const ValueOps& ops, const void* value, std::string& bytes) {
  bytes.resize(ops.attrLogSize(value));
  Out out({reinterpret_cast<uint8_t*>(bytes.data()), bytes.size()});
  ops.write(out, value);
}

inline std::string encoded(const ValueOps& ops, const void* value) {
  std::string bytes;
  encode(ops, value, bytes);
  return bytes;
}

/// Throws StreamException when that is no value of the buffer's type.
inline void decode(const std::string& bytes, ValueBuffer& value) {
  In in({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  value.read(in);
}

}  // namespace Tovo::NboAttrLog
