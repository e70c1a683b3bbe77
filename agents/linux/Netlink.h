// rtnetlink sockets of the network namespace that the process is in.
#pragma once

#include <libmnl/libmnl.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace stplinux {

/// What the kernel refused, or a socket that failed: number is that of errno.
class NetlinkError : public std::runtime_error {
 public:
  NetlinkError(int number, const std::string& text) : std::runtime_error(text), number_(number) {}
  int number() const noexcept { return number_; }

 private:
  int number_;
};

using MessageHandler = std::function<void(const nlmsghdr&)>;

/// A request, built by its user: header, then attributes by the functions of libmnl.
class Request {
 public:
  /// NLM_F_REQUEST is added to the flags.
  Request(uint16_t type, uint16_t flags);

  /// The header that belongs to the type of message, zeroed; before any attribute.
  template <class Header>
  Header& header() {
    return *static_cast<Header*>(mnl_nlmsg_put_extra_header(message(), sizeof(Header)));
  }
  nlmsghdr* message() noexcept { return reinterpret_cast<nlmsghdr*>(bytes_); }

 private:
  alignas(nlmsghdr) char bytes_[512] = {};
};

/// Requests and their answers. Each waits for its answer: the kernel makes it at once.
class RequestSocket {
 public:
  /// Throws NetlinkError. Datagrams may be longer than so many bytes: the room grows with them.
  explicit RequestSocket(size_t datagramBytes = 32768);

  enum class Outcome {
    complete,
    interrupted,  ///< the list changed while it was dumped; what was handled may lack some of it
  };
  /// Calls handle for each message of the answer. Throws NetlinkError, with the kernel's own words
  /// where it has some.
  Outcome send(Request& request, const MessageHandler& handle = {});

 private:
  void open();
  bool receive(uint32_t sequence, const MessageHandler& handle, Outcome& outcome);

  struct Close {
    void operator()(mnl_socket* socket) const noexcept { mnl_socket_close(socket); }
  };
  std::unique_ptr<mnl_socket, Close> socket_;
  std::vector<char> buffer_;
  uint32_t sequence_ = 0;
};

/// What the kernel announces of interfaces: bridges and ports are such.
class EventSocket {
 public:
  /// Throws NetlinkError. So many bytes of announcements wait in the kernel until they are read.
  explicit EventSocket(size_t waitingBytes = 4 * 1024 * 1024, size_t datagramBytes = 32768);

  int fd() const noexcept { return mnl_socket_get_fd(socket_.get()); }
  /// Calls handle for messages that wait, without blocking; if they never end it stops in
  /// between. False when some got lost: the kernel had no room for them, or one was longer than the
  /// room here. Throws NetlinkError.
  bool drain(const MessageHandler& handle);

 private:
  struct Close {
    void operator()(mnl_socket* socket) const noexcept { mnl_socket_close(socket); }
  };
  std::unique_ptr<mnl_socket, Close> socket_;
  std::vector<char> buffer_;
};

template <class Visit>
void forEachBetween(const char* at, const char* end, const Visit& visit) {
  while (at < end) {
    const auto& attribute = *reinterpret_cast<const nlattr*>(at);
    if (!mnl_attr_ok(&attribute, static_cast<int>(end - at))) return;
    visit(attribute);
    at += MNL_ALIGN(attribute.nla_len);
  }
}

/// Calls visit(const nlattr&) for each attribute that is whole: behind a message's header of so
/// many bytes, or inside a nest.
template <class Visit>
void forEachAttribute(const nlmsghdr& message, size_t headerBytes, const Visit& visit) {
  const char* const end = reinterpret_cast<const char*>(&message) + message.nlmsg_len;
  const char* at =
      static_cast<const char*>(mnl_nlmsg_get_payload(&message)) + MNL_ALIGN(headerBytes);
  forEachBetween(at, end, visit);
}
template <class Visit>
void forEachAttribute(const nlattr& nest, const Visit& visit) {
  const char* const at = static_cast<const char*>(mnl_attr_get_payload(&nest));
  forEachBetween(at, at + mnl_attr_get_payload_len(&nest), visit);
}

/// The text of an attribute, which ends at the first zero.
inline std::string_view attributeText(const nlattr& attribute) noexcept {
  const std::string_view bytes(static_cast<const char*>(mnl_attr_get_payload(&attribute)),
                               mnl_attr_get_payload_len(&attribute));
  return bytes.substr(0, bytes.find('\0'));
}

/// The value of an attribute; none for one that is too short for it.
template <class Value>
bool attributeValue(const nlattr& attribute, Value& value) noexcept {
  if (mnl_attr_get_payload_len(&attribute) < sizeof value) return false;
  __builtin_memcpy(&value, mnl_attr_get_payload(&attribute), sizeof value);
  return true;
}

}  // namespace stplinux
