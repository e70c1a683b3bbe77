// stptool set, new, del: changing a live tree. A command first changes its own mirror, which checks
// everything, and lets the server know only when all of it was right.
#include <span>

#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "Tovo/ValueOps.h"
#include "stptool/commands/Commands.h"
#include "stptool/json/ValueJson.h"
#include "stptool/model/Explain.h"
#include "stptool/model/FindType.h"
#include "stptool/output/Output.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;
using Tovo::PathTarget;

Entity* entityAt(const Tovo::Directory& directory, const std::string& path) {
  const PathTarget target = Tovo::resolvePath(directory, path);
  if (target.attribute) throw Tovo::PathException("'" + path + "' is no entity");
  return target.entity.get();
}

Entity* referredTo(const Tovo::Directory& directory, const PathTarget& target,
                   const std::string& value) {
  try {
    return entityAt(directory, value);
  } catch (const Tovo::PathException& error) {
    throw refusal(Tovo::pathOf(*target.entity), target.attribute, value,
                  withSuggestion(error).what());
  }
}

// Seconds that are not finite come over the log only; a file may not say them to 'load' either.
void demandFinite(const ValueShape& shape, const void* value) {
  try {
    fromJson(shape, toJson(shape, value), JsonPlace());
  } catch (const JsonError&) {
    throw Tovo::RangeException("seconds that are not finite cannot be set");
  }
}

void demandFinite(Attribute attribute, const std::string& text) {
  Tovo::ValueBuffer value(attribute.ops());
  try {
    Tovo::readTyped(text, value);
  } catch (const Tovo::RangeException&) {
    return;  // said where it is set
  }
  demandFinite(shapeOf(attribute), value.get());
}

void storeEntry(const Tovo::Directory& directory, const PathTarget& target,
                const std::string& value) {
  if (target.attribute.kind() == AttributeKind::refCollection) {
    Tovo::putReference(*target.entity, target.attribute, target.keyText,
                       *referredTo(directory, target, value));
  } else {
    if (target.attribute.kind() != AttributeKind::ownCollection) {
      demandFinite(target.attribute, value);
    }
    Tovo::putElement(*target.entity, target.attribute, target.keyText, value);
  }
}

void setScalar(const Tovo::Directory& directory, const PathTarget& target,
               const std::string& value) {
  if (target.attribute.kind() == AttributeKind::pointer && value != "None") {
    Tovo::pointerIs(*target.entity, target.attribute, referredTo(directory, target, value));
  } else {
    if (target.attribute.kind() == AttributeKind::attribute) demandFinite(target.attribute, value);
    Tovo::attributeFromText(*target.entity, target.attribute, value);
  }
}

// Says of a failure where it happened, in the words of the command line.
template <class Action>
void explained(const PathTarget& target, const std::string& value, const Action& action) {
  const std::string path = Tovo::pathOf(*target.entity);
  try {
    action();
  } catch (const Failure&) {
    throw;
  } catch (const Tovo::RangeException& error) {
    throw refusal(path, target.attribute, value, reasonOf(target.attribute, error));
  } catch (const Tovo::NotWritableException& error) {
    throw Failure(error.what(),
                  {.path = path, .attribute = target.attribute.name(), .value = value});
  } catch (const Tovo::PathException&) {
    throw;
  } catch (const std::exception& error) {
    throw refusal(path, target.attribute, value, error.what());
  }
}

void assign(const Tovo::Directory& directory, const Entity& entity, const std::string& attribute,
            const std::string& value) {
  const std::string path = Tovo::pathOf(entity);
  const std::string name = attribute.substr(0, attribute.find_first_of("/["));
  if (!Tovo::attributeByName(entity.tovoType(), name)) {
    throw unknownAttribute(path, entity.tovoType(), name);
  }
  const PathTarget target = Tovo::resolvePath(directory, path + "/" + attribute);
  if (!target.attribute) {
    throw Failure(path + ": " + attribute + " is an entity; its attributes are set one by one");
  }
  explained(target, value, [&] {
    if (target.hasKey) {
      storeEntry(directory, target, value);
    } else {
      setScalar(directory, target, value);
    }
  });
}

void report(bool json, const char* done, const std::string& path) {
  if (!json) return;
  Json line = Json::object();
  line[done] = path;
  writeOut(lineOf(line));
}

std::string parametersText(Tovo::TovoTypeBase type) {
  std::string text = "a " + std::string(Tovo::typeName(type)) + " is made with ";
  const std::vector<Attribute> parameters = Tovo::constructorParameters(type);
  if (parameters.empty()) return text + "nothing but its name";
  const char* separator = "";
  for (const Attribute parameter : parameters) {
    text += separator + std::string(parameter.name()) + " (" + allowedText(parameter) + ")";
    separator = " and ";
  }
  return text;
}

using Values = std::vector<std::unique_ptr<Tovo::ValueBuffer>>;

Values parameterValues(const std::string& path, Tovo::TovoTypeBase type,
                       std::span<const std::string> texts) {
  const std::vector<Attribute> parameters = Tovo::constructorParameters(type);
  if (texts.size() != parameters.size()) {
    throw Failure(path + ": " + parametersText(type), {.path = path}, ExitCode::usage);
  }
  Values values;
  values.reserve(parameters.size());
  for (size_t i = 0; i < parameters.size(); ++i) {
    values.push_back(std::make_unique<Tovo::ValueBuffer>(parameters[i].ops()));
    try {
      Tovo::CharRange range(texts[i]);
      const Tovo::CharRangeCheckAllDataConsumed check(range);
      values.back()->parse(range);
      demandFinite(shapeOf(parameters[i]), values.back()->get());
    } catch (const Tovo::RangeException& error) {
      throw refusal(path, parameters[i], texts[i], reasonOf(parameters[i], error));
    }
  }
  return values;
}

// Made here first, where what is wrong with it can be said.
void newRoot(ClientSession& session, const NewOptions& options) {
  if (options.arguments.empty()) {
    throw Failure(options.path + ": nothing is mounted there; a new root needs its TYPE",
                  {.path = options.path}, ExitCode::usage);
  }
  const Tovo::TovoTypeBase type = findEntityType(options.arguments.front());
  const Values values =
      parameterValues(options.path, type, std::span(options.arguments).subspan(1));
  std::vector<const void*> pointers;
  pointers.reserve(values.size());
  for (const auto& value : values) pointers.push_back(value->get());
  Tovo::Directory scratch;
  const auto root = scratch.newEntity(options.path, Tovo::typeName(type), pointers);
  session.createRoot(options.path, *root);
  if (!session.isServed(options.path)) {
    throw Failure(options.path + ": the server did not make it", {.path = options.path});
  }
}

void newEntry(ClientSession& session, const PathTarget& target, const NewOptions& options) {
  if (Tovo::findElement(*target.entity, target.attribute, target.keyText)) {
    throw Failure(options.path + ": exists already");
  }
  if (target.attribute.kind() != AttributeKind::ownCollection) {
    if (options.arguments.size() != 1) {
      throw Failure(options.path + ": needs one value; allowed: " + allowedText(target.attribute),
                    ExitCode::usage);
    }
    return storeEntry(session.directory(), target, options.arguments[0]);
  }
  parameterValues(options.path, target.attribute.type(), options.arguments);
  Tovo::newElement(*target.entity, target.attribute, target.keyText, options.arguments);
}

}  // namespace

void runSet(const SetOptions& options) {
  if (options.assignments.empty() || options.assignments.size() % 2 != 0) {
    throw Failure("set: pairs of ATTRIBUTE and VALUE are expected; the last one has no value",
                  ExitCode::usage);
  }
  ClientSession session(options.session);
  session.mirror(options.path, Access::write);
  const Tovo::Directory& directory = session.directory();
  const Pelmo::Ptr<Entity> entity(entityAt(directory, options.path));
  for (size_t i = 0; i < options.assignments.size(); i += 2) {
    assign(directory, *entity, options.assignments[i], options.assignments[i + 1]);
  }
  session.sync();
  report(options.json, "set", Tovo::pathOf(*entity));
}

void runNew(const NewOptions& options) {
  ClientSession session(options.session);
  if (!session.isServed(options.path)) {
    newRoot(session, options);
  } else {
    session.mirror(options.path, Access::write);
    const PathTarget target = Tovo::resolveNewElement(session.directory(), options.path);
    explained(target, words::joined(options.arguments, " "),
              [&] { newEntry(session, target, options); });
    session.sync();
  }
  report(options.json, "new", options.path);
}

void runDel(const DelOptions& options) {
  ClientSession session(options.session);
  session.mirror(options.path, Access::write);
  const Tovo::Directory& directory = session.directory();
  if (directory.mounted(options.path)) {
    session.removeRoot(options.path);
    return report(options.json, "deleted", options.path);
  }
  Tovo::resolvePath(directory, options.path);  // says what is wrong on the way
  const PathTarget target = Tovo::resolveNewElement(directory, options.path);
  if (!Tovo::deleteElement(*target.entity, target.attribute, target.keyText)) {
    throw Failure(options.path + ": " + target.attribute.name() + " has no entry '" +
                  target.keyText + "'");
  }
  session.sync();
  report(options.json, "deleted", options.path);
}

}  // namespace stptool
