// The other end of a connection, written by hand.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "Support.h"

namespace Mirror {

std::string u8(unsigned value);
std::string u16(unsigned value);
std::string u32(uint32_t value);
std::string text(std::string_view value);

/// One frame: length, entity, id, payload.
std::string message(uint32_t entity, unsigned id, std::string_view payload = {});
/// A greeting with these modules: encoded pairs of texts.
std::string greeting(unsigned count = 0, std::string_view modules = {});

/// A peer that is as old as its bytes; what the connection answers is collected.
class RawPeer {
 public:
  explicit RawPeer(Directory& directory, Limits limits = {});
  ~RawPeer();
  RawPeer(const RawPeer&) = delete;
  RawPeer& operator=(const RawPeer&) = delete;

  Connection& connection() noexcept { return *connection_; }
  /// Writes, and lets the connection work on it.
  void send(std::string_view bytes);
  void settle();
  /// The reason of the good-bye that arrived, if one did.
  std::string goodBye();
  /// All that arrived since it was asked last.
  std::string received() { return std::exchange(received_, {}); }
  int fd() const noexcept { return fd_; }

 private:
  void receive();

  int fd_;
  std::string received_;
  std::unique_ptr<Connection> connection_;
};

}  // namespace Mirror
