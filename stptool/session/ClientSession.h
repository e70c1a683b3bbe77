// A connection to a server and the mirror of what it serves.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Tovo/AttrLog/Connection.h"
#include "Tovo/Directory.h"
#include "Tovo/Path.h"

namespace stptool {

struct SessionOptions {
  std::string socket;
  double timeout = 10;  ///< seconds in which the server has to answer
};

enum class Access { read, write };

/// Connected, greeted and told what the server has mounted. Everything here throws Failure: with
/// ExitCode::cannotConnect before that point, later with the reason for which a connection ended or
/// a request was refused.
class ClientSession {
 public:
  explicit ClientSession(const SessionOptions& options);

  Tovo::Directory& directory() noexcept { return directory_; }
  Tovo::NboAttrLog::Connection& connection() noexcept { return *connection_; }
  const std::string& socket() const noexcept { return options_.socket; }

  /// Whether the path lies at or below something that the server has mounted.
  bool isServed(std::string_view path) const;
  /// Mirrors the tree that the path lies in. Where its types can refer to entities elsewhere, all
  /// other trees come along, so that references are complete.
  void mirror(std::string_view path, Access access);
  void mirrorAll(Access access);
  /// mirror() for a path, mirrorAll() for an empty one.
  void mirrorOrAll(std::string_view path, Access access);

  /// Asks the server for a root entity of a type, and learns what it has mounted since.
  void createRoot(const std::string& path, const std::string& type);

  /// Sends what has changed here and waits until the server has applied it.
  void sync();

 private:
  using RemoteMount = Tovo::NboAttrLog::Connection::RemoteMount;

  const RemoteMount* mountOf(std::string_view path) const;
  void list();
  void mirrorRoot(const RemoteMount& mount, Access access);
  void await(const std::function<bool()>& done, const char* what);
  void checkRefusals();

  SessionOptions options_;
  Tovo::Directory directory_;
  std::unique_ptr<Tovo::NboAttrLog::Connection> connection_;
  size_t refusalsSeen_ = 0;
};

}  // namespace stptool
