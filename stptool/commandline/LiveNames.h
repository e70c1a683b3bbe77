// Names in the trees of a server, for completion.
#pragma once

#include <string>
#include <vector>

#include "Tovo/Module.h"

namespace stptool {

struct Candidate {
  std::string text;
  std::string about{};
};

/// Asks a server, and gives up soon and silently. Carries over what it needs to know and no more:
/// the entity above the last part of a path.
class LiveNames {
 public:
  explicit LiveNames(std::string socket);

  /// Whole paths that go on from what was typed: roots, then collections and attributes, then keys.
  std::vector<Candidate> paths(const std::string& typed) const;
  /// The type of the entity at a path; none when there is none.
  Tovo::TovoTypeBase typeAt(const std::string& path) const;

 private:
  std::string socket_;
};

}  // namespace stptool
