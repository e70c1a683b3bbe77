#include "stptool/json/Load.h"

#include <algorithm>
#include <set>

#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "stptool/json/Dump.h"
#include "stptool/json/ValueJson.h"
#include "stptool/text/Explain.h"
#include "stptool/text/Suggest.h"

namespace stptool {

namespace {

using Tovo::AttributeKind;

const Json& needObject(const Json& json, const JsonPlace& place, const char* ofWhat) {
  if (json.is_object()) return json;
  throw JsonError(place, "found " + shownJson(json) + "; allowed: an object of " + ofWhat);
}

std::string needString(const Json& json, const JsonPlace& place, const std::string& what) {
  if (json.is_string()) return json.get<std::string>();
  throw JsonError(place, "found " + shownJson(json) + "; allowed: " + what);
}

Tovo::TovoTypeBase needEntityType(const std::string& name, const JsonPlace& place) {
  const Tovo::TovoTypeBase type = Tovo::typeByName(name);
  if (type && Tovo::typeDescriptor(type).kind == Tovo::TypeKind::entity) return type;
  std::vector<std::string> known;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t i = 0; i < module->typeCount; ++i) {
      if (module->types[i].kind == Tovo::TypeKind::entity)
        known.emplace_back(module->types[i].name);
    }
  }
  throw JsonError(place, "'" + name + "' is no entity type" + suggestion(name, known));
}

// The values of the constructor parameters, which stand among the ordinary members.
std::vector<std::unique_ptr<Tovo::ValueBuffer>> parametersOf(Tovo::TovoTypeBase type,
                                                             const Json& json,
                                                             const JsonPlace& place) {
  std::vector<std::unique_ptr<Tovo::ValueBuffer>> values;
  for (const Tovo::Attribute parameter : Tovo::constructorParameters(type)) {
    const auto member = json.find(parameter.name());
    if (member == json.end()) {
      throw JsonError(place, "lacks '" + std::string(parameter.name()) + "', with which a " +
                                 Tovo::typeName(type) +
                                 " is made; allowed: " + allowedText(parameter));
    }
    values.push_back(fromJson(shapeOf(parameter), *member, place / parameter.name()));
  }
  return values;
}

std::vector<const void*> pointersTo(const std::vector<std::unique_ptr<Tovo::ValueBuffer>>& values) {
  std::vector<const void*> pointers;
  pointers.reserve(values.size());
  for (const auto& value : values) pointers.push_back(value->get());
  return pointers;
}

void demandSame(const Tovo::Entity& entity, Tovo::Attribute attribute, const Json& json,
                const JsonPlace& place, const char* why) {
  const Json is = dumpAttribute(entity, attribute);
  if (is != json) {
    throw JsonError(place, "found " + shownJson(json) + "; " + why + " and is " + shownJson(is));
  }
}

const Json& mountsOf(const Json& document) {
  static const char* const wanted = R"(the member "mounts")";
  needObject(document, JsonPlace(), wanted);
  const auto mounts = document.find("mounts");
  if (mounts == document.end()) throw JsonError(JsonPlace(), R"(lacks the member "mounts")");
  for (const auto& [name, value] : document.items()) {
    if (name != "mounts") {
      throw JsonError(JsonPlace() / name, "unknown member; allowed: only \"mounts\"");
    }
  }
  return needObject(*mounts, JsonPlace() / "mounts", "path: entity");
}

}  // namespace

std::vector<std::pair<std::string, std::string>> rootsOf(const Json& document,
                                                         const std::string& file) try {
  std::vector<std::pair<std::string, std::string>> roots;
  for (const auto& [path, json] : mountsOf(document).items()) {
    const JsonPlace place = JsonPlace() / "mounts" / path;
    needObject(json, place, "an entity's members");
    const auto type = json.find("type");
    roots.emplace_back(path, type == json.end()
                                 ? std::string()
                                 : needString(*type, place / "type", "the name of a type"));
  }
  return roots;
} catch (const JsonError& error) {
  throw Failure(file + ": " + error.what());
}

void Loader::load(const Json& document, const std::string& file, const Wanted& wanted) {
  file_ = file;
  try {
    loadDocument(document, wanted);
  } catch (const std::exception& error) {
    throw Failure(file + ": " + error.what(), {.file = file});
  }
}

void Loader::loadDocument(const Json& document, const Wanted& wanted) {
  const JsonPlace place = JsonPlace() / "mounts";
  for (const auto& [path, json] : mountsOf(document).items()) {
    if (!wanted || wanted(path)) loadRoot(path, json, place / path);
  }
}

Pelmo::Ptr<Tovo::Entity> Loader::loadBareRoot(const Json& document, const std::string& file,
                                              const std::string& path) try {
  return makeRoot(path, mountsOf(document).at(path), JsonPlace() / "mounts" / path);
} catch (const JsonError& error) {
  throw Failure(file + ": " + error.what(), {.file = file});
}

void Loader::loadRoot(const std::string& path, const Json& json, const JsonPlace& place) {
  needObject(json, place, "an entity's members");
  Pelmo::Ptr<Entity> root(target_.mounted(path));
  if (!root) {
    root = makeRoot(path, json, place);
  } else if (const auto type = json.find("type"); type != json.end()) {
    const char* is = Tovo::typeName(root->tovoType());
    if (needString(*type, place / "type", is) != is) {
      throw JsonError(place / "type",
                      "found " + shownJson(*type) + ", but " + path + " is a " + is + " already");
    }
  }
  loadMembers(*root, json, place, true);
}

Pelmo::Ptr<Tovo::Entity> Loader::makeRoot(const std::string& path, const Json& json,
                                          const JsonPlace& place) {
  const auto member = json.find("type");
  const Entity* known = others_ ? others_->mounted(path) : nullptr;
  std::string name;
  if (member != json.end()) {
    name = needString(*member, place / "type", "the name of a type");
  } else if (known) {
    name = Tovo::typeName(known->tovoType());
  } else {
    throw JsonError(place, R"(lacks "type", the name of its type)");
  }
  const Tovo::TovoTypeBase type = needEntityType(name, place / "type");
  const auto parameters = parametersOf(type, json, place);
  try {
    return target_.newEntity(path, name, pointersTo(parameters));
  } catch (const Tovo::PathException& error) {
    throw JsonError(place, error.what());
  } catch (const Tovo::RangeException& error) {
    throw JsonError(place, error.what());
  }
}

void Loader::loadMembers(Entity& entity, const Json& json, const JsonPlace& place, bool isRoot) {
  for (const auto& [name, value] : json.items()) {
    if (isRoot && name == "type") continue;
    const Attribute attribute = Tovo::attributeByName(entity.tovoType(), name);
    if (!attribute) {
      throw JsonError(place / name, unknownAttributeText(entity.tovoType(), name));
    }
    loadMember(entity, attribute, value, place / name);
  }
}

void Loader::loadMember(Entity& entity, Attribute attribute, const Json& json,
                        const JsonPlace& place) {
  if (attribute.isCollection()) return loadCollection(entity, attribute, json, place);
  switch (attribute.kind()) {
    case AttributeKind::pointer:
      return addReference(entity, attribute, {}, json, place);
    case AttributeKind::constant:
      return demandSame(entity, attribute, json, place, "it is a constant");
    case AttributeKind::query:
      throw JsonError(place, "is computed and cannot be loaded");
    case AttributeKind::name:
    case AttributeKind::nameString:
    case AttributeKind::parameter:
      return demandSame(entity, attribute, json, place, "it is fixed when the entity is made");
    default:
      if (attribute.has(Tovo::AttributeDescriptor::readOnly)) {
        return demandSame(entity, attribute, json, place, "it can be set by its owner only");
      }
      setAttribute(entity, attribute, json, place);
  }
}

void Loader::setAttribute(Entity& entity, Attribute attribute, const Json& json,
                          const JsonPlace& place) {
  const Pelmo::FieldDescriptor field = attribute.field();
  uint8_t result = Tovo::ResultCode::notSupported;
  const auto refuse = [&] {
    throw JsonError(place, "found " + shownJson(json) + "; allowed: " + allowedText(attribute));
  };
  try {
    const auto value = fromJson(shapeOf(attribute), json, place);
    result = Tovo::genericIf(entity.tovoType())
                 .genericIfAttributeOp(entity.tovoType(), nullptr, &entity, &field,
                                       Tovo::OperationCode::set, nullptr, value->get());
  } catch (const Tovo::RangeException&) {
    refuse();
  } catch (const JsonError&) {
    // Of a number with a range of its own, what its type could hold says too much.
    if (!attribute.has(Tovo::AttributeDescriptor::ranged)) throw;
    refuse();
  }
  if (result != Tovo::ResultCode::done) throw JsonError(place, "cannot be set");
}

void Loader::loadCollection(Entity& entity, Attribute collection, const Json& json,
                            const JsonPlace& place) {
  needObject(json, place, "key: element");
  if (replaces_) removeOthers(entity, collection, json);
  for (const auto& [key, item] : json.items()) {
    loadElement(entity, collection, key, item, place / key);
  }
}

void Loader::removeOthers(Entity& owner, Attribute collection, const Json& json) {
  std::vector<std::string> gone;
  Tovo::forEachElement(owner, collection, [&](const void* key, const void*) {
    const std::string text = keyToJson(keyShapeOf(collection), key);
    if (!json.contains(text)) gone.push_back(text);
  });
  for (const std::string& key : gone) Tovo::deleteElement(owner, collection, key);
}

void Loader::loadElement(Entity& owner, Attribute collection, const std::string& key,
                         const Json& json, const JsonPlace& place) {
  if (collection.kind() == AttributeKind::refCollection) {
    keyFromJson(keyShapeOf(collection), key, place);
    return addReference(owner, collection, key, json, place);
  }
  const auto keyValue = keyFromJson(keyShapeOf(collection), key, place);
  if (collection.kind() != AttributeKind::ownCollection) {
    const auto value = fromJson(shapeOf(collection), json, place);
    Tovo::collectionOps(collection).put(owner, keyValue->get(), value->get());
    const void* stored = Tovo::collectionFind(owner, collection, keyValue->get());
    if (!stored || !collection.ops().equal(stored, value->get())) {
      throw JsonError(place, "the value's own key is not '" + key + "'");
    }
    return;
  }
  needObject(json, place, "an element's members");
  Pelmo::Ptr<Entity> element;
  if (const void* found = Tovo::collectionFind(owner, collection, keyValue->get())) {
    element = Pelmo::Ptr<Entity>(Tovo::elementEntity(found));
  } else {
    const auto parameters = parametersOf(collection.type(), json, place);
    try {
      element =
          Tovo::collectionOps(collection).create(owner, keyValue->get(), pointersTo(parameters));
    } catch (const Tovo::RangeException& error) {
      throw JsonError(place, error.what());
    }
  }
  loadMembers(*element, json, place, false);
}

void Loader::addReference(Entity& holder, Attribute attribute, const std::string& key,
                          const Json& json, const JsonPlace& place) {
  const std::string wanted = "null or the path of a " + std::string(attribute.typeName());
  const std::string path = json.is_null() ? std::string() : needString(json, place, wanted);
  if (path.empty() && attribute.isCollection()) {
    throw JsonError(place, "found " + shownJson(json) + "; allowed: the path of a " +
                               std::string(attribute.typeName()));
  }
  references_.push_back({Pelmo::Ptr<Entity>(&holder), attribute, key, path, file_, place});
}

void Loader::resolveReferences() {
  for (const Reference& reference : references_) {
    try {
      resolve(reference);
    } catch (const JsonError& error) {
      throw Failure(reference.file + ": " + error.what());
    } catch (const std::exception& error) {
      throw Failure(reference.file + ": " + reference.place.to_string() + ": " + error.what());
    }
  }
  references_.clear();
}

void Loader::resolve(const Reference& reference) {
  if (reference.attribute.isCollection()) {
    Tovo::putReference(*reference.holder, reference.attribute, reference.key,
                       *findTarget(reference));
  } else {
    Entity* const target = reference.path.empty() ? nullptr : findTarget(reference);
    Tovo::pointerIs(*reference.holder, reference.attribute, target);
  }
}

Tovo::Entity* Loader::findTarget(const Reference& reference) const {
  const auto find = [&](const Tovo::Directory& directory) -> Entity* {
    const Tovo::PathTarget target = Tovo::resolvePath(directory, reference.path);
    if (target.attribute) {
      throw JsonError(reference.place, "found '" + reference.path + "', which is no entity");
    }
    return target.entity.get();
  };
  try {
    return find(target_);
  } catch (const Tovo::PathException&) {
    if (!others_) throw;
  }
  return find(*others_);
}

}  // namespace stptool
