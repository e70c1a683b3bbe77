#include "RunningServer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>

RunningServer::RunningServer(const std::vector<std::string>& files)
    : socket_(folder_.file("socket")), files_(files) {
  restart();
}

void RunningServer::restart(const std::vector<std::string>& options) {
  std::vector<std::string> arguments{"serve", "--socket", socket_, "--dump-at-end", dumpFile()};
  for (const std::string& file : files_) {
    arguments.emplace_back("--load");
    arguments.push_back(file);
  }
  arguments.insert(arguments.end(), options.begin(), options.end());
  tool_ = std::make_unique<Tool>(arguments);
  EXPECT_TRUE(tool_->says("serving ")) << tool_->err();
}

std::unique_ptr<Tool> RunningServer::start(std::vector<std::string> arguments,
                                           const std::optional<Tool::User>& user) const {
  arguments.insert(arguments.begin() + 1, {"--socket", socket_});
  return std::make_unique<Tool>(arguments, user);
}

Ended RunningServer::run(std::vector<std::string> arguments) const {
  return start(std::move(arguments))->end();
}

std::string RunningServer::output(const std::vector<std::string>& arguments) const {
  const Ended ended = run(arguments);
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.err, "");
  return ended.out;
}

std::unique_ptr<Tool> RunningServer::watch(std::vector<std::string> options) const {
  options.insert(options.begin(), "watch");
  std::unique_ptr<Tool> watch = start(std::move(options));
  EXPECT_TRUE(watch->complains("watching")) << watch->err();
  return watch;
}

void RunningServer::kill() {
  tool_->signal(SIGKILL);
  tool_->end();
}

std::string portPath(const std::string& port, int instance) {
  return "/stp/hw/mstiHw/Mst" + std::to_string(instance) + "/mstiPortHw/" + port;
}

namespace {

struct Address {
  explicit Address(const std::string& name)
      : size(static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())) {
    name.copy(address.sun_path, sizeof address.sun_path);
    if (name.starts_with('@')) address.sun_path[0] = '\0';
  }
  const sockaddr* generic() const { return reinterpret_cast<const sockaddr*>(&address); }
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  socklen_t size;
};

}  // namespace

RawSocket::RawSocket(int type) : fd_(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {}
RawSocket::~RawSocket() { ::close(fd_); }

void RawSocket::bind(const std::string& name) {
  const Address address(name);
  EXPECT_EQ(::bind(fd_, address.generic(), address.size), 0) << name;
}

void RawSocket::listen(int backlog) { EXPECT_EQ(::listen(fd_, backlog), 0); }

void RawSocket::connect(const std::string& name) {
  const Address address(name);
  EXPECT_EQ(::connect(fd_, address.generic(), address.size), 0) << name;
}

void RawSocket::send(const std::string& bytes) const {
  (void)!::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

std::string RawSocket::receive() const {
  char bytes[4096];
  pollfd ready{fd_, POLLIN, 0};
  if (::poll(&ready, 1, 30000) <= 0) return "nothing";
  const ssize_t count = ::recv(fd_, bytes, sizeof bytes, 0);
  return {bytes, static_cast<size_t>(std::max<ssize_t>(count, 0))};
}

bool isRefused(const std::string& socket, const std::string& bytes) {
  RawSocket client;
  client.connect(socket);
  client.send(bytes);
  std::string heard;
  while (!(heard = client.receive()).empty() && heard != "nothing") continue;
  return heard.empty();
}
