#include "Tovo/Assert.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace Tovo {

namespace {

AssertionHandler currentHandler = nullptr;

std::string describe(const AssertionFailure& failure) {
  return std::string("assertion '") + failure.expression + "' failed in " + failure.source + ":" +
         std::to_string(failure.line) + ", " + failure.function;
}

}  // namespace

AssertionHandler assertionHandlerIs(AssertionHandler handler) noexcept {
  AssertionHandler previous = currentHandler;
  currentHandler = handler;
  return previous;
}

void assertionFailed(const AssertionFailure& failure) {
  if (currentHandler) currentHandler(failure);
  std::fprintf(stderr, "%s\n", describe(failure).c_str());
  std::abort();
}

AssertionError::AssertionError(const AssertionFailure& failure)
    : std::logic_error(describe(failure)) {}

void throwAssertionError(const AssertionFailure& failure) { throw AssertionError(failure); }

}  // namespace Tovo
