// A connection to a server and the mirror of what it serves.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Mirror/Link.h"
#include "Tovo/Directory.h"
#include "Tovo/Path.h"
#include "agents/service/StopSignals.h"

namespace stptool {

struct SessionOptions {
  std::string socket;
  double timeout = 10;  ///< seconds in which the server has to answer
  /// Seconds in which a socket that is not there, or that nobody listens at, may yet come: the
  /// server may have been started at the same time.
  double connectTimeout = 2;
};

enum class Access { read, write };

/// Connected, greeted and told what the server has mounted. Everything here throws Failure: with
/// ExitCode::cannotConnect before that point, later with the reason for which a connection ended or
/// a request was refused. While StopSignals exist, one that comes ends a wait with Interrupted.
class ClientSession : private Tovo::NboAttrLog::LinkObserver {
 public:
  explicit ClientSession(const SessionOptions& options);

  Tovo::Directory& directory() noexcept { return directory_; }
  const std::string& socket() const noexcept { return options_.socket; }

  /// Whether the path lies at or below something that the server has mounted.
  bool isServed(std::string_view path);
  /// Mirrors the tree that the path lies in. Where its types can refer to entities elsewhere, all
  /// other trees come along, so that references are complete.
  void mirror(std::string_view path, Access access);
  /// Roots of types that no model library of this process has are left out, each with a line on
  /// standard error.
  void mirrorAll(Access access);
  /// mirror() for a path, mirrorAll() for an empty one.
  void mirrorOrAll(std::string_view path, Access access);

  /// Mirrors an entity and what is below it, not what that refers to.
  void mirrorOnly(const std::string& path);

  /// What the server has mounted, as far as it has said so.
  using RemoteMounts = Tovo::NboAttrLog::RemoteRoots::Roots;
  const RemoteMounts& remoteMounts();

  /// Asks the server for a root entity of the type and with the constructor values of another one,
  /// or to remove a root; remoteMounts() knows of it then.
  void createRoot(const std::string& path, const Tovo::Entity& like);
  void removeRoot(const std::string& path);

  /// What the server says of itself and its connections.
  std::string status();

  /// Sends what has changed here and waits until the server has applied it.
  void sync();

  /// Called when another entity than before is mirrored under a path, before its contents arrive.
  using RootHandler = std::function<void(Tovo::Entity& root)>;
  /// From now on the session goes on when the connection ends: it is made again as soon as the
  /// server answers, the mirrors are brought up to date, and a line on standard error says so.
  void follow(RootHandler newRoot);
  /// The connection that there is; null between two.
  Tovo::NboAttrLog::Connection* connection() noexcept { return link_.connection(); }
  /// Throws Failure while there is none.
  void demandConnection();
  /// Waits until the mirrors hold what the server has now. False when that could not be: there is
  /// no connection, it ends or takes longer than the timeout, or a signal comes. What was refused
  /// before is not told again.
  bool catchUp(const service::StopSignals& signals);
  /// Waits and works on what arrives, at most so long; -1 is without end. False when a signal came.
  bool work(const service::StopSignals& signals, int milliseconds);

 private:
  void handleLinkState(Tovo::NboAttrLog::Link& link) override;
  void handleMounted(Tovo::NboAttrLog::Link& link, const std::string& path, Tovo::Entity& root,
                     bool isNew) override;
  void handleUnmounted(Tovo::NboAttrLog::Link& link, const std::string& path,
                       const std::string& reason) override;
  void handleLeftOut(Tovo::NboAttrLog::Link& link, const std::string& path,
                     const std::string& type) override;

  std::unique_ptr<Tovo::NboAttrLog::Stream> makeStream() const;
  void connect();
  bool wait(int milliseconds);
  bool runUntil(const std::function<bool()>& done);
  int timeoutMilliseconds() const;
  RemoteMounts::const_iterator mountOf(std::string_view path);
  void list();
  void mirrorEntity(const std::string& path, Access access);
  bool isLost() const noexcept;
  void await(const std::function<bool()>& done, const char* what);
  void checkRefusals();
  void checkAccess(const std::string& path, Access access);

  SessionOptions options_;
  Tovo::NboAttrLog::Link::Clock::time_point absentUntil_;  // before it, no server is no loss
  Tovo::Directory directory_;
  Tovo::NboAttrLog::Link link_;
  RootHandler newRoot_;
  std::string told_;  // the loss that was told last
  size_t refusalsSeen_ = 0;
};

}  // namespace stptool
