#include "RawPeer.h"

#include <sys/socket.h>
#include <unistd.h>

namespace Mirror {

namespace {

std::string number(uint32_t value, int bytes) {
  std::string result;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    result += static_cast<char>(value >> shift & 0xff);
  }
  return result;
}

uint32_t numberAt(std::string_view bytes, size_t at, size_t count) {
  uint32_t value = 0;
  for (size_t i = 0; i < count; ++i) value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
  return value;
}

}  // namespace

std::string u8(unsigned value) { return number(value, 1); }
std::string u16(unsigned value) { return number(value, 2); }
std::string u32(uint32_t value) { return number(value, 4); }
std::string text(std::string_view value) {
  return u32(static_cast<uint32_t>(value.size())) + std::string(value);
}

std::string message(uint32_t entity, unsigned id, std::string_view payload) {
  return u32(static_cast<uint32_t>(6 + payload.size())) + u32(entity) + u16(id) +
         std::string(payload);
}

std::string greeting(unsigned count, std::string_view modules) {
  return message(0, 1, u32(0x54414c31) + u16(1) + u16(count) + std::string(modules));
}

RawPeer::RawPeer(Directory& directory, Limits limits) {
  const Sockets sockets;
  fd_ = sockets.b;
  connection_ = std::make_unique<Connection>(sockets.a, directory, limits);
}

RawPeer::~RawPeer() { ::close(fd_); }

void RawPeer::send(std::string_view bytes) {
  while (!bytes.empty() && !connection_->closed()) {
    const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) bytes.remove_prefix(static_cast<size_t>(sent));
    settle();
  }
}

void RawPeer::settle() {
  connection_->flush();
  receive();
  while (readable(connection_->readFd())) {
    connection_->handleReadable();
    connection_->flush();
    receive();
  }
}

void RawPeer::receive() {
  char buffer[4096];
  while (readable(fd_)) {
    const ssize_t got = ::read(fd_, buffer, sizeof buffer);
    if (got <= 0) return;
    received_.append(buffer, static_cast<size_t>(got));
  }
}

std::string RawPeer::goodBye() {
  receive();
  for (size_t at = 0; received_.size() - at >= 10;) {
    const uint32_t length = numberAt(received_, at, 4);
    if (numberAt(received_, at + 4, 4) == 0 && numberAt(received_, at + 8, 2) == 2) {
      return received_.substr(at + 14, length - 10);
    }
    at += 4 + length;
  }
  return {};
}

}  // namespace Mirror
