// What the peer has mounted, as far as it was asked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "Mirror/control/ControlSender.h"

namespace Tovo::NboAttrLog {

/// Part of a guest's side.
class RemoteRoots {
 public:
  /// A list of the peer takes at most so many bytes.
  RemoteRoots(ControlSender& control, size_t mostBytes) noexcept
      : control_(control), mostBytes_(mostBytes) {}
  RemoteRoots(const RemoteRoots&) = delete;
  RemoteRoots& operator=(const RemoteRoots&) = delete;

  /// Asks what the peer has mounted; the answer replaces all() and adds one to listings. What comes
  /// or goes while it is on its way may be in it or not.
  void ask();
  /// From now on all() follows whatever root the peer mounts or unmounts. Where these were too many
  /// to be told one by one, a whole list comes as if it had been asked for.
  void follow();

  /// Paths and the names of types.
  using Roots = std::map<std::string, std::string, std::less<>>;
  const Roots& all() const noexcept { return roots_; }
  uint32_t listings() const noexcept { return listings_; }
  /// The peer was asked for anything here.
  bool anyAsked() const noexcept { return asked_ > 0 || follows_; }

  /// A part of a list, or the last one. Throws StreamException for what was not asked for, and
  /// EndingException above the limit.
  void handleListed(In& in, bool isLast);
  struct Change {
    std::string path;
    bool mounted;
  };
  /// Throws StreamException when roots are not followed.
  Change handleRoot(In& in);

 private:
  ControlSender& control_;
  size_t mostBytes_;
  Roots roots_;
  Roots listed_;  // so far of a list that is on its way
  size_t listedBytes_ = 0;
  uint32_t listings_ = 0;
  uint32_t asked_ = 0;
  bool follows_ = false;
};

}  // namespace Tovo::NboAttrLog
