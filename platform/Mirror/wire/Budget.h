// What connections may hold together.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace Tovo::NboAttrLog {

/// A bound for the bytes that several connections hold, and for those of other budgets below it: a
/// server has one for all of its clients and below that one for each user. It is charged through
/// Connection::budgetIs; whoever would go beyond ends with Ending::budget and is told whose budget
/// that is. What a connection has from its beginning is charged too, so a budget also bounds how
/// many there are; what all have is let go when it is over.
///
///     Budget all("all clients", 1 << 30);
///     Budget user("user 1000", 256 << 20, &all);   // before its first client, and while it has
///     any connection.budgetIs(&user);                  // throws what the client is to be told
///
/// Outlives what is charged to it: the connections, and the budgets below. Of one thread.
class Budget {
 public:
  /// `whose` stands in messages; `above` may be null.
  Budget(std::string whose, size_t most, Budget* above = nullptr)
      : whose_(std::move(whose)), most_(most), above_(above) {}
  Budget(const Budget&) = delete;
  Budget& operator=(const Budget&) = delete;

  const std::string& whose() const noexcept { return whose_; }
  size_t most() const noexcept { return most_; }
  /// Bytes that are charged now, and the most that ever were.
  size_t held() const noexcept { return held_; }
  size_t peak() const noexcept { return peak_; }

  /// Charges here and above. The budget that has no room for it, here or above, or null: it is
  /// charged. Nothing is charged otherwise.
  const Budget* take(size_t bytes) noexcept;
  /// Charges what is held whatever the bound: then others have to wait.
  void takeAnyway(size_t bytes) noexcept;
  /// Not more than was taken.
  void give(size_t bytes) noexcept;

 private:
  const std::string whose_;
  const size_t most_;
  Budget* const above_;
  size_t held_ = 0;
  size_t peak_ = 0;
};

}  // namespace Tovo::NboAttrLog
