#include "stptool/json/Load.h"

#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "Tovo/ValueReflection.h"
#include "stptool/json/Dump.h"
#include "stptool/json/ValueJson.h"
#include "stptool/model/Explain.h"
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
      if (module->types[i].kind == Tovo::TypeKind::entity) {
        known.emplace_back(module->types[i].name);
      }
    }
  }
  throw JsonError(place, "'" + name + "' is no entity type" + suggestion(name, known));
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

// Of an entity's name, or of the key that stands for it.
ValueShape nameShapeOf(Tovo::TovoTypeBase type) {
  if (const Tovo::Attribute key = Tovo::keyParameter(type)) return shapeOf(key);
  return {&Tovo::primitiveOps(Tovo::PrimitiveCode::string), {}, Tovo::PrimitiveCode::string};
}

// An element that is to have other constructor parameters than the one that is there.
bool isMadeOtherwise(const Tovo::Entity& element, const Json& json) {
  for (const Tovo::Attribute parameter : Tovo::constructorParameters(element.tovoType())) {
    const auto member = json.find(parameter.name());
    if (member != json.end() && *member != dumpAttribute(element, parameter)) return true;
  }
  return false;
}

void eraseOthers(Tovo::Entity& owner, Tovo::Attribute collection,
                 const std::unordered_set<std::string_view>& mentioned) {
  std::vector<std::unique_ptr<Tovo::ValueBuffer>> gone;
  Tovo::forEachElement(owner, collection, [&](const void* key, const void*) {
    if (mentioned.contains(keyToJson(keyShapeOf(collection), key))) return;
    gone.push_back(std::make_unique<Tovo::ValueBuffer>(collection.keyOps()));
    gone.back()->constructFrom(key);
  });
  for (const auto& key : gone) Tovo::collectionOps(collection).erase(owner, key->get());
}

}  // namespace

std::vector<DocumentRoot> rootsOf(const Json& document, const std::string& file) try {
  std::vector<DocumentRoot> roots;
  for (const auto& [path, json] : mountsOf(document).items()) {
    const JsonPlace place = JsonPlace() / "mounts" / path;
    needObject(json, place, "an entity's members");
    const auto type = json.find("type");
    roots.push_back({path,
                     type == json.end() ? std::string()
                                        : needString(*type, place / "type", "the name of a type"),
                     &json});
  }
  return roots;
} catch (const JsonError& error) {
  throw Failure(file + ": " + error.what(), {.file = file});
}

void Loader::restores(Warning warning) {
  restores_ = true;
  outOfRange_ = [this, warning = std::move(warning)](const JsonError& error) {
    warning(file_ + ": " + error.what() + "; it is restored as it is");
  };
}

void Loader::load(const Json& document, const std::string& file) {
  for (const DocumentRoot& root : rootsOf(document, file)) load(root, file);
}

void Loader::load(const DocumentRoot& root, const std::string& file) {
  file_ = file;
  try {
    loadRoot(root);
  } catch (const std::exception& error) {
    throw Failure(file + ": " + error.what(), {.file = file});
  }
}

Pelmo::Ptr<Tovo::Entity> Loader::loadBareRoot(const DocumentRoot& root,
                                              const std::string& file) try {
  file_ = file;
  return makeRoot(root);
} catch (const JsonError& error) {
  throw Failure(file + ": " + error.what(), {.file = file});
}

void Loader::loadRoot(const DocumentRoot& root) {
  const JsonPlace place = JsonPlace() / "mounts" / root.path;
  Pelmo::Ptr<Entity> entity(target_.mounted(root.path));
  if (!entity) {
    entity = makeRoot(root);
  } else if (!root.type.empty()) {
    const char* is = Tovo::typeName(entity->tovoType());
    if (root.type != is) {
      throw JsonError(place / "type", "found " + shownJson(root.type) + ", but " + root.path +
                                          " is a " + is + " already");
    }
  }
  loadMembers(*entity, *root.json, place, true);
}

Pelmo::Ptr<Tovo::Entity> Loader::makeRoot(const DocumentRoot& root) {
  const JsonPlace place = JsonPlace() / "mounts" / root.path;
  const Entity* known = others_ ? others_->mounted(root.path) : nullptr;
  std::string name = root.type;
  if (name.empty() && known) name = Tovo::typeName(known->tovoType());
  if (name.empty()) throw JsonError(place, R"(lacks "type", the name of its type)");
  const Tovo::TovoTypeBase type = needEntityType(name, place / "type");
  const auto parameters = parametersOf(type, *root.json, place);
  std::vector<const void*> arguments = pointersTo(parameters);
  const auto own = root.json->find("name");
  try {
    if (!restores_ || own == root.json->end()) return target_.newEntity(root.path, name, arguments);
    // Whoever mounts an entity may name it otherwise than its path ends.
    const auto key = keyFromJson(nameShapeOf(type), needString(*own, place / "name", "a name"),
                                 place / "name", outOfRange_);
    arguments.insert(arguments.begin(), key->get());
    Pelmo::Ptr<Entity> entity = Tovo::entityHooks(type)->create(arguments);
    target_.mount(root.path, entity);
    return entity;
  } catch (const Tovo::PathException& error) {
    throw JsonError(place, error.what());
  } catch (const Tovo::RangeException& error) {
    throw JsonError(place, error.what());
  }
}

// They stand among the ordinary members.
std::vector<std::unique_ptr<Tovo::ValueBuffer>> Loader::parametersOf(Tovo::TovoTypeBase type,
                                                                     const Json& json,
                                                                     const JsonPlace& place) const {
  std::vector<std::unique_ptr<Tovo::ValueBuffer>> values;
  for (const Attribute parameter : Tovo::constructorParameters(type)) {
    const auto member = json.find(parameter.name());
    if (member == json.end()) {
      throw JsonError(place, "lacks '" + std::string(parameter.name()) + "', with which a " +
                                 Tovo::typeName(type) +
                                 " is made; allowed: " + allowedText(parameter));
    }
    values.push_back(fromJson(shapeOf(parameter), *member, place / parameter.name(), outOfRange_));
  }
  return values;
}

void Loader::loadMembers(Entity& entity, const Json& json, const JsonPlace& place, bool isRoot) {
  for (const auto& [name, value] : json.items()) {
    if (isRoot && name == "type") continue;
    // That of a root stands also where a key takes the place of the name.
    const bool isName = isRoot && name == "name";
    const Attribute attribute =
        Tovo::attributeByName(entity.tovoType(), isName ? "nameString" : name);
    if (!attribute) throw JsonError(place / name, unknownAttributeText(entity.tovoType(), name));
    loadMember(entity, attribute, value, place / name);
  }
}

void Loader::loadMember(Entity& entity, Attribute attribute, const Json& json,
                        const JsonPlace& place) {
  if (attribute.isCollection()) return loadCollection(entity, attribute, json, place);
  switch (attribute.kind()) {
    case AttributeKind::pointer:
      return addReference(entity, attribute, nullptr, json, place);
    case AttributeKind::constant:
      return demandSame(entity, attribute, json, place, "it is a constant");
    case AttributeKind::query:
      throw JsonError(place, "is computed and cannot be loaded");
    case AttributeKind::name:
    case AttributeKind::nameString:
    case AttributeKind::parameter:
      return demandSame(entity, attribute, json, place, "it is fixed when the entity is made");
    default:
      if (attribute.has(Tovo::AttributeDescriptor::readOnly) && !restores_) {
        return demandSame(entity, attribute, json, place, "it can be set by its owner only");
      }
      setAttribute(entity, attribute, json, place);
  }
}

void Loader::setAttribute(Entity& entity, Attribute attribute, const Json& json,
                          const JsonPlace& place) {
  const auto refused = [&] {
    return JsonError(place, "found " + shownJson(json) + "; allowed: " + allowedText(attribute));
  };
  std::unique_ptr<Tovo::ValueBuffer> value;
  try {
    value = fromJson(shapeOf(attribute), json, place, outOfRange_);
  } catch (const JsonError&) {
    // Of a number with a range of its own, what its type could hold says too much.
    if (!attribute.has(Tovo::AttributeDescriptor::ranged)) throw;
    throw refused();
  }
  const Pelmo::FieldDescriptor field = attribute.field();
  try {
    if (attribute.has(Tovo::AttributeDescriptor::readOnly)) {
      Tovo::checkRange(attribute, value->get());
      return Tovo::attributeKept(entity, attribute, value->get());
    }
    const uint8_t result =
        Tovo::genericIf(entity.tovoType())
            .genericIfAttributeOp(entity.tovoType(), nullptr, &entity, &field,
                                  Tovo::OperationCode::set, nullptr, value->get());
    if (result != Tovo::ResultCode::done) throw JsonError(place, "cannot be set");
  } catch (const Tovo::RangeException&) {
    outOfRange_(refused());
    Tovo::attributeKept(entity, attribute, value->get());
  }
}

void Loader::loadCollection(Entity& entity, Attribute collection, const Json& json,
                            const JsonPlace& place) {
  needObject(json, place, "key: element");
  std::vector<Entry> entries = entriesOf(collection, json, place);
  if (replaces_) {
    std::unordered_set<std::string_view> mentioned;
    for (const Entry& entry : entries) mentioned.insert(entry.keyText);
    eraseOthers(entity, collection, mentioned);
  }
  for (Entry& entry : entries) {
    const JsonPlace at = place / *entry.name;
    loadEntry(entity, collection, std::move(entry), at);
  }
}

// A string may stand with and without quotes, so two names can be one key.
std::vector<Loader::Entry> Loader::entriesOf(Attribute collection, const Json& json,
                                             const JsonPlace& place) const {
  std::vector<Entry> entries;
  entries.reserve(json.size());
  std::unordered_map<std::string_view, const std::string*> names;
  for (const auto& [name, item] : json.get_ref<const Json::object_t&>()) {
    Entry entry{
        keyFromJson(keyShapeOf(collection), name, place / name, outOfRange_), {}, &name, &item};
    entry.keyText = keyToJson(keyShapeOf(collection), entry.key->get());
    entries.push_back(std::move(entry));
    const auto [other, isNew] = names.try_emplace(entries.back().keyText, &name);
    if (!isNew) {
      throw JsonError(place / name, "is the same key as " + (place / *other->second).to_string());
    }
  }
  return entries;
}

void Loader::loadEntry(Entity& owner, Attribute collection, Entry entry, const JsonPlace& place) {
  if (collection.kind() == AttributeKind::ownCollection) {
    return loadElement(owner, collection, entry, place);
  }
  if (collection.kind() == AttributeKind::refCollection) {
    return addReference(owner, collection, std::move(entry.key), *entry.json, place);
  }
  const Tovo::ValueOps& ops = collection.ops();
  const auto value = fromJson(shapeOf(collection), *entry.json, place, outOfRange_);
  Tovo::collectionOps(collection).put(owner, entry.key->get(), value->get());
  const void* stored = Tovo::collectionFind(owner, collection, entry.key->get());
  // By their bytes: seconds that are no number are not equal to themselves.
  using Tovo::NboAttrLog::encoded;
  if (!stored || encoded(ops, stored) != encoded(ops, value->get())) {
    throw JsonError(place, "the value's own key is not '" + *entry.name + "'");
  }
}

void Loader::loadElement(Entity& owner, Attribute collection, const Entry& entry,
                         const JsonPlace& place) {
  const Json& json = needObject(*entry.json, place, "an element's members");
  const Tovo::CollectionOps& ops = Tovo::collectionOps(collection);
  const void* found = Tovo::collectionFind(owner, collection, entry.key->get());
  Pelmo::Ptr<Entity> element(found ? Tovo::elementEntity(found) : nullptr);
  if (element && restores_ && isMadeOtherwise(*element, json)) {
    ops.erase(owner, entry.key->get());
    element = nullptr;
  }
  if (!element) {
    const auto parameters = parametersOf(collection.type(), json, place);
    try {
      element = ops.create(owner, entry.key->get(), pointersTo(parameters));
    } catch (const Tovo::RangeException& error) {
      throw JsonError(place, error.what());
    }
  }
  loadMembers(*element, json, place, false);
}

void Loader::addReference(Entity& holder, Attribute attribute,
                          std::unique_ptr<Tovo::ValueBuffer> key, const Json& json,
                          const JsonPlace& place) {
  const std::string wanted = "null or the path of a " + std::string(attribute.typeName());
  const std::string path = json.is_null() ? std::string() : needString(json, place, wanted);
  if (path.empty() && attribute.isCollection()) {
    throw JsonError(place, "found " + shownJson(json) + "; allowed: the path of a " +
                               std::string(attribute.typeName()));
  }
  references_.push_back(
      {Pelmo::Ptr<Entity>(&holder), attribute, std::move(key), path, file_, place});
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
    Tovo::putReferenceAt(*reference.holder, reference.attribute, reference.key->get(),
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
