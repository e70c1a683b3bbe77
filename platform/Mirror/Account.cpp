#include "Mirror/Account.h"

#include <string>

#include "Mirror/wire/Ending.h"

namespace Tovo::NboAttrLog {

namespace {

[[noreturn]] void throwFull(const Budget& full) {
  throw EndingException(Ending::budget, full.whose() + " would hold more than the " +
                                            std::to_string(full.most()) +
                                            " bytes that are allowed");
}

}  // namespace

void Account::open(Budget& budget, size_t bytes) {
  budget_ = &budget;
  if (const Budget* full = budget.take(bytes)) throwFull(*full);
  charged_ = bytes;
}

void Account::chargedIs(size_t bytes) {
  if (!budget_) return;
  if (bytes <= charged_) {
    budget_->give(charged_ - bytes);
  } else if (bytes <= unasked) {
    budget_->takeAnyway(bytes - charged_);
  } else if (const Budget* full = budget_->take(bytes - charged_)) {
    throwFull(*full);
  }
  charged_ = bytes;
}

void Account::shrinkTo(size_t bytes) noexcept {
  if (!budget_ || charged_ <= bytes) return;
  budget_->give(charged_ - bytes);
  charged_ = bytes;
}

}  // namespace Tovo::NboAttrLog
