#include "Tovo/Exceptions.h"

#include "Tovo/CharRange.h"
#include "Tovo/Entity.h"
#include "Tovo/Path.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

namespace {

std::string attributeNameOf(const Entity& entity, AttributeId id) {
  const Attribute attribute = attributeById(entity.tovoType(), id);
  return attribute ? std::string(attribute.name()) : "attribute " + std::to_string(id);
}

}  // namespace

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

MutatorReinstantiatingException::MutatorReinstantiatingException(const Entity& element,
                                                                 AttributeId attribute,
                                                                 std::string existing,
                                                                 std::string requested)
    : std::runtime_error(pathOf(element) + " exists with " + attributeNameOf(element, attribute) +
                         " " + existing + "; it cannot be made again with " + requested),
      attribute_(attribute),
      existing_(std::move(existing)),
      requested_(std::move(requested)) {}

NewEntityArgsException::NewEntityArgsException(const TovoModule& module, size_t argument)
    : std::runtime_error("constructor argument " + std::to_string(argument) +
                         " does not fit a type of module " + std::string(moduleName(module))),
      module_(module),
      argument_(argument) {}

BadOptionalAccessException::BadOptionalAccessException()
    : std::logic_error("the optional value is absent") {}

void throwRangeException(const char* message) { throw RangeException(message); }

void rethrowFromDeserializeAttr(const RangeException& error, std::string_view field) {
  error.rethrowBelow(field);
  __builtin_unreachable();
}

void throwMutatorReinstantiating(const Entity& element, AttributeId attribute,
                                 std::string requested, std::string existing) {
  throw MutatorReinstantiatingException(element, attribute, std::move(existing),
                                        std::move(requested));
}

void throwNewEntityArgsException(const TovoModule& module, size_t argument) {
  throw NewEntityArgsException(module, argument);
}

void throwWriteUpdateFromReadOnlyProxyException(const Entity& entity, AttributeId attribute) {
  throw WriteUpdateFromReadOnlyProxyException(pathOf(entity) +
                                              " is mounted read-only; a write of " +
                                              attributeNameOf(entity, attribute) + " is refused");
}

void throwBadOptionalAccess() { throw BadOptionalAccessException(); }

void throwBadAlternative(const char* alternative) {
  throw BadAlternativeException(std::string("the value does not hold '") + alternative + "'");
}

}  // namespace Tovo
