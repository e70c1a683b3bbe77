#include "tdc/emit/CollectionMembers.h"

#include <utility>

#include "tdc/emit/CppNames.h"

namespace tdc {

using Place = Function::Place;

std::string CollectionMembers::keyParameter(const Member& member) const {
  return parameterType({member.key, false}, space_) + " key";
}

Function CollectionMembers::collectionFunction(const std::string& doc, const std::string& result,
                                               const std::string& name,
                                               std::vector<std::string> parameters,
                                               const std::string& suffix,
                                               const std::string& body) const {
  Function function;
  function.doc = doc;
  function.result = result;
  function.name = name;
  function.parameters = std::move(parameters);
  function.suffix = suffix;
  function.body = {body};
  function.place = Place::source;
  return function;
}

void CollectionMembers::addView(const Member& member, const std::string& view) {
  Function all = collectionFunction(documentation(member),
                                    "Frame::" + view + "<" + nameOf(member, Derived::node) + ">",
                                    member.name, {}, "const noexcept",
                                    "return Frame::" + view + "<" + nameOf(member, Derived::node) +
                                        ">(" + nameOf(member, Derived::storage) + ");");
  all.place = Place::header;
  functions_.add(all, &member);
  functions_.add(
      collectionFunction("Whether there is an entry.", "bool", nameOf(member, Derived::contains),
                         {keyParameter(member)}, "const",
                         "return " + nameOf(member, Derived::storage) + ".find(key) != nullptr;"),
      &member);
}

void CollectionMembers::addDelAll(const Member& member) {
  functions_.add(
      collectionFunction("Removes one after the other, each published.", "void",
                         nameOf(member, Derived::clearer), {}, "",
                         "Frame::eraseAll(" + nameOf(member, Derived::storage) + ", [this](" +
                             parameterType({member.key, false}, space_) + " key) { " +
                             nameOf(member, Derived::eraser) + "(key); });"),
      &member);
}

std::string CollectionMembers::ownerArguments(const Member& member) const {
  return "*this, " + nameOf(member, Derived::storage) + ", " + std::to_string(member.id) + ", ";
}

void CollectionMembers::addOwn(const Member& member) {
  const Type& element = *member.type.type;
  const std::string elementType = typeName(element, space_);
  const std::string pointer = "Pelmo::Ptr<" + elementType + ">";
  const std::string stored = nameOf(member, Derived::storage);
  addView(member, "EntityView");
  functions_.add(collectionFunction("The element under a key, or null.", pointer, member.name,
                                    {keyParameter(member)}, "const",
                                    "return Frame::elementOf(" + stored + ", key);"),
                 &member);

  Function make;
  make.doc = "The element under a key, made when it is not there.";
  make.result = pointer;
  make.name = nameOf(member, Derived::setter);
  const std::string key = besideParameters(member, "key");
  const std::string existing = besideParameters(member, "existing");
  make.parameters = {parameterType({member.key, false}, space_) + " " + key};
  std::string arguments = key;
  for (const Member* parameter : member.parameters) {
    make.parameters.push_back(parameterType(parameter->type, space_) + " " + parameter->name);
    arguments += ", " + parameter->name;
  }
  const bool compares = !member.parameters.empty() && !member.nocompare;
  if (compares) {
    make.doc +=
        " Throws Tovo::MutatorReinstantiatingException when it is there with other "
        "parameters; then nothing has changed.";
    make.body = {"if (" + pointer + " " + existing + " = Frame::elementOf(" + stored + ", " + key +
                 ")) {"};
    for (const Member* parameter : member.parameters) {
      make.body.push_back("  Frame::requireSame<" + cppType(parameter->type, space_) + ">(*" +
                          existing + ", " + std::to_string(parameter->id) + ", " + existing + "->" +
                          parameter->name + "(), " + parameter->name + ");");
    }
    make.body.insert(make.body.end(), {"  return " + existing + ";", "}"});
  } else {
    if (member.nocompare) make.doc += " An existing one is returned whatever its parameters.";
    make.body = {"if (" + pointer + " " + existing + " = Frame::elementOf(" + stored + ", " + key +
                 ")) return " + existing + ";"};
  }
  make.body.push_back("return Frame::insertOwned(" + ownerArguments(member) +
                      within(elementType, nameOf(element, Derived::creator)) + "(" + arguments +
                      "));");
  make.place = Place::source;
  functions_.add(make, &member);

  functions_.add(
      collectionFunction("Removes an element and returns it, or null when it was not there.",
                         pointer, nameOf(member, Derived::eraser), {keyParameter(member)}, "",
                         "return Frame::eraseOwned(" + ownerArguments(member) + "key);"),
      &member);
  addDelAll(member);
}

void CollectionMembers::addReference(const Member& member) {
  const std::string pointer = "Pelmo::Ptr<" + typeName(*member.type.type, space_) + ">";
  addView(member, "NodeView");
  functions_.add(
      collectionFunction("The entity under a key, or null.", pointer, member.name,
                         {keyParameter(member)}, "const",
                         "return Frame::targetOf(" + nameOf(member, Derived::storage) + ", key);"),
      &member);
  functions_.add(
      collectionFunction("Refers to an entity that lives elsewhere; null removes the entry.",
                         "void", nameOf(member, Derived::setter),
                         {keyParameter(member), "const " + pointer + "& target"}, "",
                         "Frame::referenceIs(" + ownerArguments(member) + "key, target);"),
      &member);
  functions_.add(
      collectionFunction("False when it was not there.", "bool", nameOf(member, Derived::eraser),
                         {keyParameter(member)}, "",
                         "return Frame::referenceDel(" + ownerArguments(member) + "key);"),
      &member);
  addDelAll(member);
}

void CollectionMembers::addValues(const Member& member) {
  const std::string value = cppType(member.type, space_);
  addView(member, "NodeView");
  if (member.type.type->is(ScalarForm::boolean)) {
    functions_.add(
        collectionFunction("The flag under a key; false when there is none.", "bool", member.name,
                           {keyParameter(member)}, "const",
                           "return Frame::flagOf(" + nameOf(member, Derived::storage) + ", key);"),
        &member);
  } else {
    functions_.add(collectionFunction(
                       "The value under a key, if there is one.", "std::optional<" + value + ">",
                       member.name, {keyParameter(member)}, "const",
                       "return Frame::valueOf(" + nameOf(member, Derived::storage) + ", key);"),
                   &member);
  }
  if (member.kind == MemberKind::set) {
    functions_.add(
        collectionFunction("Stores a value under its own " + member.keyMember->name + ".", "void",
                           nameOf(member, Derived::setter),
                           {parameterType(member.type, space_) + " value"}, "",
                           "Frame::selfKeyedIs(" + ownerArguments(member) + "value." +
                               member.keyMember->name + "(), value);"),
        &member);
  } else {
    functions_.add(
        collectionFunction("Stores a value; the same value again changes nothing.", "void",
                           nameOf(member, Derived::setter),
                           {keyParameter(member), parameterType(member.type, space_) + " value"},
                           "", "Frame::valueIs(" + ownerArguments(member) + "key, value);"),
        &member);
  }
  functions_.add(collectionFunction("False when it was not there.", "bool",
                                    nameOf(member, Derived::eraser), {keyParameter(member)}, "",
                                    "return Frame::valueDel(" + ownerArguments(member) + "key);"),
                 &member);
  addDelAll(member);
}

}  // namespace tdc
