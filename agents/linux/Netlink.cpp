#include "agents/linux/Netlink.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace stplinux {

namespace {

// Announcements that are read before what they are about is looked at.
constexpr int mostDatagrams = 4096;

[[noreturn]] void fail(const char* what) {
  const int number = errno;
  throw NetlinkError(number, std::string(what) + ": " + std::strerror(number));
}

mnl_socket* openSocket() {
  mnl_socket* const socket = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC);
  if (!socket) fail("cannot open a netlink socket");
  return socket;
}

void bindSocket(mnl_socket* socket) {
  if (mnl_socket_bind(socket, 0, MNL_SOCKET_AUTOPID) != 0) fail("cannot bind a netlink socket");
}

// A kernel that does not know the option answers in fewer words.
void wantOption(mnl_socket* socket, int option) {
  int on = 1;
  mnl_socket_setsockopt(socket, option, &on, sizeof on);
}

// The text that the kernel adds to an error, from the attributes behind it.
std::string textOf(const nlmsghdr& message) {
  if ((message.nlmsg_flags & NLM_F_ACK_TLVS) == 0) return {};
  size_t offset = sizeof(nlmsgerr);
  if ((message.nlmsg_flags & NLM_F_CAPPED) == 0) {
    const auto* error = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(&message));
    if (error->error != 0) offset += error->msg.nlmsg_len - sizeof(nlmsghdr);
  }
  std::string text;
  forEachAttribute(message, offset, [&](const nlattr& attribute) {
    if (mnl_attr_get_type(&attribute) == NLMSGERR_ATTR_MSG) text = attributeText(attribute);
  });
  return text;
}

// The error number that a message carries; 0 for an acknowledgement.
int errorOf(const nlmsghdr& message) {
  int number = 0;
  if (mnl_nlmsg_get_payload_len(&message) < sizeof number) return EBADMSG;
  std::memcpy(&number, mnl_nlmsg_get_payload(&message), sizeof number);
  return number < 0 ? -number : number;
}

void throwError(const nlmsghdr& message, int number) {
  const std::string text = message.nlmsg_type == NLMSG_ERROR ? textOf(message) : std::string();
  const std::string reason = std::strerror(number);
  throw NetlinkError(number, text.empty() ? reason : reason + " (" + text + ")");
}

}  // namespace

Request::Request(uint16_t type, uint16_t flags) {
  mnl_nlmsg_put_header(bytes_);
  message()->nlmsg_type = type;
  message()->nlmsg_flags = static_cast<uint16_t>(flags | NLM_F_REQUEST);
}

// --------------------------------------------------------------------------------------- requests

RequestSocket::RequestSocket(size_t datagramBytes) : buffer_(datagramBytes) { open(); }

void RequestSocket::open() {
  socket_.reset(openSocket());
  wantOption(socket_.get(), NETLINK_EXT_ACK);
  wantOption(socket_.get(), NETLINK_CAP_ACK);
  wantOption(socket_.get(), NETLINK_GET_STRICT_CHK);
  bindSocket(socket_.get());
}

RequestSocket::Outcome RequestSocket::send(Request& request, const MessageHandler& handle) {
  for (;;) {
    nlmsghdr* const message = request.message();
    const bool isDump = (message->nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP;
    if (!isDump) message->nlmsg_flags |= NLM_F_ACK;
    message->nlmsg_seq = ++sequence_;
    Outcome outcome = Outcome::complete;
    try {
      if (mnl_socket_sendto(socket_.get(), message, message->nlmsg_len) < 0) fail("cannot ask");
      while (receive(sequence_, handle, outcome)) {
      }
      return outcome;
    } catch (const NetlinkError&) {
      // What is left of the answer must not be taken for that of the next request.
      open();
      throw;
    } catch (const std::length_error&) {
      buffer_.resize(2 * buffer_.size());
      open();
    }
  }
}

// One datagram. False at the end of the answer.
bool RequestSocket::receive(uint32_t sequence, const MessageHandler& handle, Outcome& outcome) {
  ssize_t length;
  do {
    length = mnl_socket_recvfrom(socket_.get(), buffer_.data(), buffer_.size());
  } while (length < 0 && errno == EINTR);
  if (length < 0 && errno == ENOSPC) throw std::length_error("longer than the room for it");
  if (length < 0) fail("no answer");
  int left = static_cast<int>(length);
  const auto* message = reinterpret_cast<const nlmsghdr*>(buffer_.data());
  for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
    if (message->nlmsg_seq != sequence) continue;
    if ((message->nlmsg_flags & NLM_F_DUMP_INTR) != 0) outcome = Outcome::interrupted;
    if (message->nlmsg_type == NLMSG_ERROR || message->nlmsg_type == NLMSG_DONE) {
      const int number = errorOf(*message);
      if (number != 0) throwError(*message, number);
      return false;
    }
    if (message->nlmsg_type >= NLMSG_MIN_TYPE && handle) handle(*message);
  }
  return true;
}

// ----------------------------------------------------------------------------------------- events

EventSocket::EventSocket(size_t waitingBytes, size_t datagramBytes)
    : socket_(openSocket()), buffer_(datagramBytes) {
  const int bytes = static_cast<int>(waitingBytes);
  // More than the system's limit is for the privileged; others get what it allows.
  if (::setsockopt(fd(), SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) {
    ::setsockopt(fd(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
  }
  bindSocket(socket_.get());
  int group = RTNLGRP_LINK;
  if (mnl_socket_setsockopt(socket_.get(), NETLINK_ADD_MEMBERSHIP, &group, sizeof group) != 0) {
    fail("cannot follow what the kernel announces");
  }
}

bool EventSocket::drain(const MessageHandler& handle) {
  bool whole = true;
  for (int datagrams = 0; datagrams < mostDatagrams; ++datagrams) {
    const ssize_t length = ::recv(fd(), buffer_.data(), buffer_.size(), MSG_DONTWAIT | MSG_TRUNC);
    if (length < 0) {
      if (errno == EAGAIN) return whole;
      if (errno == EINTR) continue;
      if (errno != ENOBUFS) fail("cannot read what the kernel announces");
      whole = false;
      continue;
    }
    if (static_cast<size_t>(length) > buffer_.size()) {
      buffer_.resize(static_cast<size_t>(length));
      whole = false;
      continue;
    }
    int left = static_cast<int>(length);
    const auto* message = reinterpret_cast<const nlmsghdr*>(buffer_.data());
    for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
      if (message->nlmsg_type >= NLMSG_MIN_TYPE) handle(*message);
    }
  }
  return whole;
}

}  // namespace stplinux
