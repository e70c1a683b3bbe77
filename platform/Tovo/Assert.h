// Assertions that stay on in release builds.
#pragma once

#include <stdexcept>

namespace Tovo {

/// What a failed assertion knows.
struct AssertionFailure {
  const char* expression;
  const char* source;  ///< a description's name ("Stp/StpTypes") or a file
  int line;
  const char* function;  ///< its full signature
};

/// A process may take failed assertions itself, for instance by throwing AssertionError, so that
/// a peer can harm only its own connection. Without a handler, and when the handler returns, the
/// failure is reported on standard error and the process aborts. Returns the previous handler.
using AssertionHandler = void (*)(const AssertionFailure&);
AssertionHandler assertionHandlerIs(AssertionHandler handler) noexcept;

[[noreturn]] void assertionFailed(const AssertionFailure& failure);

/// For handlers: "assertion 'index < 16' failed in Stp/StpTypes:0, uint8_t f(...)".
class AssertionError : public std::logic_error {
 public:
  explicit AssertionError(const AssertionFailure& failure);
};

/// A handler that throws AssertionError.
void throwAssertionError(const AssertionFailure& failure);

}  // namespace Tovo

#define TOVO_ASSERT_AT(source, condition) \
  ((condition) ? void(0)                  \
               : ::Tovo::assertionFailed({#condition, source, __LINE__, __PRETTY_FUNCTION__}))
#define TOVO_ASSERT(condition) TOVO_ASSERT_AT(__FILE__, condition)
