// Whether an object still lives when what it has called comes back.
#pragma once

namespace Tovo::NboAttrLog {

/// A member of an object that calls code which may destroy it. Each call that reaches such code has
/// a Watch on its stack, asks it afterwards, and touches the object no more when that has gone. Of
/// one thread.
class Liveness {
 public:
  Liveness() noexcept = default;
  Liveness(const Liveness&) = delete;
  Liveness& operator=(const Liveness&) = delete;
  ~Liveness() {
    for (Watch* each = innermost_; each; each = each->outer_) each->of_ = nullptr;
  }

  class Watch {
   public:
    explicit Watch(Liveness& of) noexcept : of_(&of), outer_(of.innermost_) { enter(); }
    ~Watch() {
      if (of_) of_->innermost_ = outer_;
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    bool gone() const noexcept { return !of_; }

   private:
    friend class Liveness;
    // Not inlined, since GCC would warn of a place on the stack that is left behind; it is taken
    // out again by the destructor.
    [[gnu::noinline]] void enter() noexcept { of_->innermost_ = this; }

    Liveness* of_;
    Watch* const outer_;
  };

 private:
  Watch* innermost_ = nullptr;
};

}  // namespace Tovo::NboAttrLog
