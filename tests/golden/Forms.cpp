#include "Forms.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

#include "Filling.h"
#include "Tovo/AttrLog/Connection.h"
#include "Tovo/Directory.h"
#include "Tovo/Inspect.h"
#include "stptool/json/Dump.h"
#include "stptool/json/ValueJson.h"

namespace Golden {

namespace {

using Tovo::NboAttrLog::Connection;

std::string hex(std::span<const uint8_t> bytes) {
  std::string text;
  char digits[3];
  for (const uint8_t byte : bytes) {
    std::snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

void addValue(Forms& forms, const std::string& what, Tovo::TovoTypeBase type, const void* value) {
  const Tovo::ValueOps& ops = *Tovo::valueOps(type);
  std::vector<uint8_t> bytes(ops.attrLogSize(value));
  Tovo::NboAttrLog::Out out(bytes);
  ops.write(out, value);
  forms[what + " log"] = hex(bytes);
  forms[what + " text"] = Tovo::valueText(ops, value);
  forms[what + " json"] = stptool::toJson(stptool::shapeOf(type), value).dump();
}

// A host and a guest, and what the host says after both have greeted.
class Wire {
 public:
  explicit Wire(Tovo::Directory& directory) {
    const std::array<int, 2> hostEnds = sockets();
    const std::array<int, 2> guestEnds = sockets();
    host_ = std::make_unique<Connection>(hostEnds[0], directory);
    guest_ = std::make_unique<Connection>(guestEnds[0], mirrored_);
    besideHost_ = hostEnds[1];
    besideGuest_ = guestEnds[1];
    settle();
    said_.clear();
  }
  ~Wire() {
    ::close(besideHost_);
    ::close(besideGuest_);
  }
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;

  std::vector<uint8_t> transfer(const std::string& path) {
    guest_->mount(path, true);
    settle();
    if (guest_->synced() != 1) throw std::runtime_error(path + " was not mirrored");
    return said_;
  }

 private:
  static std::array<int, 2> sockets() {
    std::array<int, 2> ends;
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
      throw std::runtime_error("socketpair failed");
    }
    return ends;
  }

  static bool readable(int fd) {
    pollfd ready{fd, POLLIN, 0};
    return fd >= 0 && ::poll(&ready, 1, 0) > 0;
  }

  // True when there was something to carry.
  static bool carry(int from, int to, std::vector<uint8_t>* copy) {
    bool carried = false;
    while (readable(from)) {
      uint8_t bytes[4096];
      const ssize_t got = ::read(from, bytes, sizeof bytes);
      if (got <= 0) break;
      if (copy) copy->insert(copy->end(), bytes, bytes + got);
      if (::send(to, bytes, static_cast<size_t>(got), MSG_NOSIGNAL) != got) break;
      carried = true;
    }
    return carried;
  }

  void settle() {
    for (bool busy = true; busy;) {
      host_->flush();
      guest_->flush();
      busy = carry(besideHost_, besideGuest_, &said_);
      busy = carry(besideGuest_, besideHost_, nullptr) || busy;
      while (readable(host_->readFd())) host_->handleReadable();
      while (readable(guest_->readFd())) guest_->handleReadable();
    }
    const std::string reason = host_->closeReason() + guest_->closeReason();
    if (!reason.empty()) throw std::runtime_error(reason);
  }

  Tovo::Directory mirrored_;
  std::unique_ptr<Connection> host_;
  std::unique_ptr<Connection> guest_;
  int besideHost_ = -1;
  int besideGuest_ = -1;
  std::vector<uint8_t> said_;
};

void addEntity(Forms& forms, const std::string& what, Tovo::Directory& directory) {
  const std::vector<uint8_t> bytes = Wire(directory).transfer("/it");
  size_t message = 0;
  for (size_t at = 0; at + 4 <= bytes.size();) {
    size_t length = 0;
    for (int i = 0; i < 4; ++i) length = length << 8 | bytes[at + static_cast<size_t>(i)];
    length = std::min(length + 4, bytes.size() - at);
    char number[16];
    std::snprintf(number, sizeof number, " log %03zu", message++);
    forms[what + number] = hex(std::span(bytes).subspan(at, length));
    at += length;
  }
  forms[what + " json"] = stptool::dumpEntity(*directory.mounted("/it")).dump();
}

}  // namespace

Forms formsOf(Tovo::TovoTypeBase type) {
  Forms forms;
  Filling filling(Tovo::typeName(type));
  if (Tovo::valueOps(type)) {
    Tovo::ValueBuffer initial(*Tovo::valueOps(type));
    initial.constructDefault();
    addValue(forms, "default", type, initial.get());
    addValue(forms, "filled", type, filling.value(type)->get());
    return forms;
  }
  Tovo::Directory directory;
  const Pelmo::Ptr<Tovo::Entity> entity = filling.entity(type, "it");
  directory.mount("/it", entity);
  addEntity(forms, "default", directory);
  filling.fill(*entity, *entity);
  addEntity(forms, "filled", directory);
  return forms;
}

}  // namespace Golden
