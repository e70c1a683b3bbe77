// Watching everything that a directory has, and what it gets.
#pragma once

#include <functional>
#include <map>
#include <memory>

#include "Pelmo/Publisher.h"
#include "Tovo/Directory.h"

namespace stptool {

class RootObservers {
 public:
  using Handle = std::function<void(const Pelmo::Change&)>;

  explicit RootObservers(Handle handle);
  ~RootObservers();

  /// Observes the roots that are new, and no more those that have gone.
  void update(const Tovo::Directory& directory);

 private:
  class One;

  Handle handle_;
  std::map<const Tovo::Entity*, std::unique_ptr<One>> observers_;
};

}  // namespace stptool
