#include "Tovo/Exceptions.h"

#include <utility>

namespace Tovo {

RangeException::RangeException(std::string message, std::string field)
    : message_(std::move(message)),
      field_(std::move(field)),
      text_(field_.empty() ? message_ : field_ + ": " + message_) {}

void RangeException::rethrowBelow(std::string_view outer) const {
  throw RangeException(message_, fieldBelow(outer));
}

std::string RangeException::fieldBelow(std::string_view outer) const {
  std::string path(outer);
  if (!field_.empty()) path.append(".").append(field_);
  return path;
}

ParseException::ParseException(std::string message, size_t position, std::string field)
    : RangeException(std::move(message), std::move(field)), position_(position) {}

void ParseException::rethrowBelow(std::string_view outer) const {
  throw ParseException(message(), position_, fieldBelow(outer));
}

BadOptionalAccessException::BadOptionalAccessException()
    : std::logic_error("the optional value is absent") {}

void throwRangeException(const char* message) { throw RangeException(message); }

void rethrowFromDeserializeAttr(const RangeException& error, std::string_view field) {
  error.rethrowBelow(field);
  __builtin_unreachable();
}

void throwBadOptionalAccess() { throw BadOptionalAccessException(); }

void throwBadAlternative(const char* alternative) {
  throw BadAlternativeException(std::string("the value does not hold '") + alternative + "'");
}

}  // namespace Tovo
