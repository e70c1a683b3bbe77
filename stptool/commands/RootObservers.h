// Watching everything that a directory has, and what it gets.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "Pelmo/Publisher.h"
#include "Tovo/Directory.h"

namespace stptool {

class RootObservers {
 public:
  using Handle = std::function<void(const Pelmo::Change&)>;

  explicit RootObservers(Handle handle);
  ~RootObservers();

  /// Observes the roots that are new, and no more those that have gone. Always of the same
  /// directory; costs what has changed there since the last call.
  void update(const Tovo::Directory& directory);

 private:
  class One;

  void update(const Tovo::Directory& directory, const std::string& path);

  Handle handle_;
  std::map<std::string, std::unique_ptr<One>> observers_;  // by path
  uint64_t seen_ = 0;                                      // changes of the directory
};

}  // namespace stptool
