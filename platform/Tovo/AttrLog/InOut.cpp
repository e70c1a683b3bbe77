#include <cstring>
#include <stdexcept>
#include <string>

#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

void Out::bytes(const void* from, size_t count) {
  uint8_t* to = claim(count);
  if (count > 0) std::memcpy(to, from, count);
}

void Out::throwNoRoom(size_t bytes) const {
  throw std::length_error("writing " + std::to_string(bytes) + " bytes into a message with " +
                          std::to_string(left()) + " left");
}

Out& operator<<(Out& out, const Pelmo::String& text) {
  out << text.size();
  out.bytes(text.data(), text.size());
  return out;
}

Pelmo::String In::nextString() {
  const uint32_t size = nextU32();
  const uint8_t* bytes = take(size);
  return Pelmo::String(std::string_view(reinterpret_cast<const char*>(bytes), size));
}

uint32_t In::peekEntityId() const {
  In ahead = *this;
  return ahead.nextEntity();
}

uint32_t In::nextCount(size_t least) {
  const uint32_t count = nextU32();
  if (count > remaining() / (least == 0 ? 1 : least)) {
    throw StreamException("a list of " + std::to_string(count) + " elements at byte " +
                          std::to_string(position() - 4) + ", but " + std::to_string(remaining()) +
                          " bytes follow");
  }
  return count;
}

void In::throwLeft() const {
  throw StreamException(std::to_string(remaining()) + " bytes are left behind the value at byte " +
                        std::to_string(position()));
}

void In::throwTooShort(size_t bytes) const {
  throw StreamException("a value of " + std::to_string(bytes) + " bytes at byte " +
                        std::to_string(position()) + ", but " + std::to_string(remaining()) +
                        " follow");
}

}  // namespace Tovo::NboAttrLog
