// What one connection holds, charged to a budget.
#pragma once

#include <cstddef>

#include "Mirror/wire/Budget.h"

namespace Tovo::NboAttrLog {

/// What a connection holds now, in bytes.
struct Held {
  size_t itself = 0;    ///< from its beginning to its end
  size_t input = 0;     ///< messages and turns that are not whole, with their room
  size_t output = 0;    ///< what waits for the descriptor, with its room
  size_t entities = 0;  ///< numbers and flows of what it carries, and what is dirty in collections
  size_t requests = 0;  ///< of the peer, that wait for room to answer
  size_t sum() const noexcept { return itself + input + output + entities + requests; }
};

/// Part of a connection. Without a budget it charges nothing.
class Account {
 public:
  Account() = default;
  Account(const Account&) = delete;
  Account& operator=(const Account&) = delete;
  ~Account() {
    if (budget_) budget_->give(charged_);
  }

  /// Up to so many bytes are charged whether there is room or not, but when the account is opened:
  /// so who reads and writes a little goes on beside others who have used up everything.
  static constexpr size_t unasked = 192 * 1024;

  bool isOpen() const noexcept { return budget_ != nullptr; }
  /// Opens the account, with so many bytes. Throws EndingException when there is no room for them;
  /// then it is open with nothing charged. Once; the budget outlives the account.
  void open(Budget& budget, size_t bytes);
  /// So many bytes are held from now on. Throws EndingException when there is no room for more;
  /// then what was charged before stays charged.
  void chargedIs(size_t bytes);
  /// The same of what is not more than before.
  void shrinkTo(size_t bytes) noexcept;

 private:
  Budget* budget_ = nullptr;
  size_t charged_ = 0;
};

}  // namespace Tovo::NboAttrLog
