// The runtime's exceptions, and the functions that raise them.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Tovo/Types.h"

namespace Tovo {

class Entity;

/// A value outside its range, or text that is no value. `what` is the message behind the path of
/// the field it belongs to, if any: "portId.portNumber: Stp::PortNumber::value < ...".
class RangeException : public std::exception {
 public:
  explicit RangeException(std::string message, std::string field = {});
  const char* what() const noexcept override { return text_.c_str(); }
  const std::string& message() const noexcept { return message_; }
  /// Names joined by dots, the outermost first.
  const std::string& field() const noexcept { return field_; }

  /// Raises a copy of the same class whose field stands below `outer`.
  [[noreturn]] virtual void rethrowBelow(std::string_view outer) const;

 protected:
  std::string fieldBelow(std::string_view outer) const;

 private:
  std::string message_;
  std::string field_;
  std::string text_;
};

/// Text that does not parse; `position` counts bytes from the start of the text.
class ParseException : public RangeException {
 public:
  ParseException(std::string message, size_t position, std::string field = {});
  size_t position() const noexcept { return position_; }
  [[noreturn]] void rethrowBelow(std::string_view outer) const override;

 private:
  size_t position_;
};

/// An element exists under the key with other constructor parameters; it is unchanged.
class MutatorReinstantiatingException : public std::runtime_error {
 public:
  MutatorReinstantiatingException(const Entity& element, AttributeId attribute,
                                  std::string existing, std::string requested);
  AttributeId attribute() const noexcept { return attribute_; }
  const std::string& existing() const noexcept { return existing_; }
  const std::string& requested() const noexcept { return requested_; }

 private:
  AttributeId attribute_;
  std::string existing_;
  std::string requested_;
};

/// Constructor arguments that the type does not take.
class NewEntityArgsException : public std::runtime_error {
 public:
  NewEntityArgsException(const TovoModule& module, size_t argument);
  const TovoModule& module() const noexcept { return module_; }
  size_t argument() const noexcept { return argument_; }

 private:
  const TovoModule& module_;
  size_t argument_;
};

/// A remote that may only read wrote.
class WriteUpdateFromReadOnlyProxyException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Bytes of an attribute log that cannot be read.
class StreamException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class UnhashableException : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

/// A pointer or reference to an object of another type than the one asked for.
class TypeException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reading an alternative of a union that is not held.
class BadAlternativeException : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

/// Reading an optional that is absent.
class BadOptionalAccessException : public std::logic_error {
 public:
  BadOptionalAccessException();
};

[[noreturn]] void throwRangeException(const char* message);
/// In a catch clause for a range exception of a field's parser: the same exception, with the
/// field's name added.
[[noreturn]] void rethrowFromDeserializeAttr(const RangeException& error, std::string_view field);
[[noreturn]] void throwMutatorReinstantiating(const Entity& element, AttributeId attribute,
                                              std::string requested, std::string existing);
[[noreturn]] void throwNewEntityArgsException(const TovoModule& module, size_t argument);
[[noreturn]] void throwWriteUpdateFromReadOnlyProxyException(const Entity& entity,
                                                             AttributeId attribute);
[[noreturn]] void throwBadOptionalAccess();
[[noreturn]] void throwBadAlternative(const char* alternative);

}  // namespace Tovo
