// The exceptions that say which entity or which module they are about.
#include <string>
#include <utility>

#include "Tovo/Entity.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Module.h"
#include "Tovo/Path.h"

namespace Tovo {

namespace {

std::string attributeNameOf(const Entity& entity, AttributeId id) {
  const Attribute attribute = attributeById(entity.tovoType(), id);
  return attribute ? std::string(attribute.name()) : "attribute " + std::to_string(id);
}

}  // namespace

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

}  // namespace Tovo
