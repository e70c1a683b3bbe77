#include "RunningServer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

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

RawClient::RawClient(const std::string& socket)
    : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, socket.data(), socket.size());
  EXPECT_EQ(::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

RawClient::~RawClient() { ::close(fd_); }

bool RawClient::send(const std::string& bytes) const {
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<size_t>(count);
  }
  return true;
}

void RawClient::finishSending() const { ::shutdown(fd_, SHUT_WR); }

bool RawClient::isClosedByServer() const {
  char bytes[4096];
  for (;;) {
    pollfd fd{fd_, POLLIN, 0};
    if (::poll(&fd, 1, 30000) <= 0) return false;
    if (::recv(fd_, bytes, sizeof bytes, 0) <= 0) return true;
  }
}
