// What this side has asked of the peer and may be refused.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

/// Part of a connection.
class Requests {
 public:
  void made() noexcept { ++made_; }
  bool anyMade() const noexcept { return made_ > 0; }
  /// What the peer refused, in its words, the oldest first.
  const std::vector<std::string>& refusals() const noexcept { return refusals_; }
  /// Throws StreamException when nothing was asked that could be refused.
  void refusedIs(std::string reason) {
    if (refusals_.size() >= made_) throw StreamException("a refusal of nothing");
    refusals_.push_back(std::move(reason));
  }

 private:
  size_t made_ = 0;
  std::vector<std::string> refusals_;
};

}  // namespace Tovo::NboAttrLog
