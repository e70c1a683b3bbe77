#include "tdc/emit/ValueMembers.h"

#include <utility>

#include "tdc/emit/CppNames.h"

namespace tdc {

using Place = Function::Place;

void ValueMembers::addGetter(const Member& member, const std::string& doc,
                             const std::string& expression) {
  Function get;
  get.doc = doc;
  get.prefix = "constexpr";
  get.result = parameterType(member.type, space_);
  get.name = member.name;
  get.suffix = "const noexcept";
  get.body = {"return " + expression + ";"};
  if (!member.type.type->encodedSize && !member.type.optional) get.prefix.clear();
  functions_.add(get, &member);
}

void ValueMembers::add(const Member& member) {
  switch (member.kind) {
    case MemberKind::field:
    case MemberKind::counter:
      return addField(member);
    case MemberKind::list:
      return addList(member);
    case MemberKind::bits:
      return addBits(member);
    case MemberKind::indexed:
      return addIndexed(member);
    case MemberKind::query:
      return addQuery(member);
    case MemberKind::alternative:
      return addAlternative(member);
    default:
      return;
  }
}

void ValueMembers::addField(const Member& member) {
  addGetter(member, documentation(member), nameOf(member, Derived::storage));
  if (member.fixed) return;
  Function set;
  set.doc = "Replaces the field.";
  set.result = "void";
  set.name = nameOf(member, Derived::setter);
  set.parameters = {parameterType(member.type, space_) + " value"};
  if (member.range) {
    set.doc += " Throws Tovo::RangeException; then the value is what it was.";
    set.body = {
        rangeCall(member, "Frame::rangedFieldIs", nameOf(member, Derived::storage) + ", value")};
  } else {
    set.body = {nameOf(member, Derived::storage) + " = value;"};
  }
  functions_.add(set, &member);
  if (member.kind != MemberKind::counter) return;
  Function inc;
  inc.doc = "Adds, modulo the counter's width, and returns the new value. Nobody is told.";
  inc.result = typeName(*member.type.type, space_);
  inc.name = nameOf(member, Derived::increment);
  inc.parameters = {inc.result + " delta"};
  inc.suffix = "&";
  inc.body = {"return " + nameOf(member, Derived::storage) + " = static_cast<" + inc.result + ">(" +
              nameOf(member, Derived::storage) + " + delta);"};
  functions_.add(inc, &member);
}

void ValueMembers::addList(const Member& member) {
  const std::string list = ownStorageType(member, space_);
  const std::string element = parameterType(member.type, space_);
  const std::string stored = nameOf(member, Derived::storage);
  const auto function = [&](const std::string& doc, const std::string& result,
                            const std::string& name, std::vector<std::string> parameters,
                            const std::string& suffix, const std::string& body) {
    Function f;
    f.doc = doc;
    f.result = result;
    f.name = name;
    f.parameters = std::move(parameters);
    f.suffix = suffix;
    f.body = {body};
    functions_.add(f, &member);
  };
  function(documentation(member), "const " + list + "&", member.name, {}, "const noexcept",
           "return " + stored + ";");
  function("One element. Throws Pelmo::VectorOutOfRangeException.", element, member.name,
           {"size_t index"}, "const", "return " + stored + ".at(index);");
  function("Overwrites an element. Throws Pelmo::VectorOutOfRangeException; then nothing changed.",
           "void", nameOf(member, Derived::setter), {"size_t index", element + " value"}, "&",
           stored + ".set(index, value);");
  function("Appends.", "void", nameOf(member, Derived::push), {element + " value"}, "&",
           stored + ".push(value);");
  function("Removes and returns the last element. Throws Pelmo::VectorEmptyException.",
           cppType(member.type, space_), nameOf(member, Derived::pop), {}, "&",
           "return " + stored + ".pop();");
  function("Removes all elements.", "void", nameOf(member, Derived::popAll), {}, "& noexcept",
           stored + ".clear();");
}

void ValueMembers::addBits(const Member& member) {
  const unsigned width = member.highBit - member.lowBit + 1;
  const std::string low = std::to_string(member.lowBit);
  const std::string mask = std::to_string((uint64_t{1} << width) - 1);
  const std::string raw = typeName(*member.field->type.type, space_);
  const std::string stored = nameOf(*member.field, Derived::storage);
  const std::string type = typeName(*member.type.type, space_);
  const std::string bits =
      width == 1 ? "Bit " + low : "Bits " + low + " to " + std::to_string(member.highBit);
  addGetter(member, documentation(member, bits + " of " + member.field->name + "."),
            "static_cast<" + type + ">(" + stored + " >> " + low + " & " + mask + ")");
  Function set;
  set.doc = "Leaves the other bits as they are.";
  set.prefix = "constexpr";
  set.result = "void";
  set.name = nameOf(member, Derived::setter);
  set.parameters = {parameterType(member.type, space_) + " value"};
  set.suffix = "noexcept";
  set.body = {"constexpr " + raw + " mask = " + mask + " << " + low + ";",
              stored + " = static_cast<" + raw + ">((" + stored +
                  " & ~mask) | (static_cast<unsigned>(value) << " + low + " & mask));"};
  functions_.add(set, &member);
}

void ValueMembers::addIndexed(const Member& member) {
  const std::string value = parameterType(member.type, space_);
  Function get;
  get.doc = documentation(member);
  get.result = cppType(member.type, space_);
  get.name = member.name;
  get.parameters = {"uint8_t index"};
  get.suffix = "const";
  get.place = Place::hand;
  functions_.add(get, &member);
  Function set;
  set.doc = "Replaces the element at an index.";
  set.result = "void";
  set.name = nameOf(member, Derived::setter);
  set.parameters = {"uint8_t index", value + " value"};
  set.place = Place::hand;
  functions_.add(set, &member);
  Function del = set;
  del.doc = "Removes the element at an index, where the type allows that.";
  del.name = nameOf(member, Derived::eraser);
  del.parameters = {"uint8_t index"};
  functions_.add(del, &member);
}

void ValueMembers::addQuery(const Member& member) {
  Function query;
  query.doc = documentation(member);
  query.result = cppType(member.type, space_);
  query.name = member.name;
  query.suffix = "const noexcept";
  query.place = Place::hand;
  functions_.add(query, &member);
}

void ValueMembers::addAlternative(const Member& member) {
  const std::string index = std::to_string(alternativeIndex(member));
  Function get;
  get.doc = documentation(
      member, "Throws Tovo::BadAlternativeException while another alternative is held.");
  get.result = parameterType(member.type, space_);
  get.name = member.name;
  get.suffix = "const";
  get.body = {std::string("if (") + ValueNames::held + ".index() != " + index +
                  ") Tovo::throwBadAlternative(" + literal(member.name) + ");",
              "return std::get<" + index + ">(" + ValueNames::held + ");"};
  functions_.add(get, &member);
  Function set;
  set.doc = "Holds this alternative from now on.";
  set.result = "void";
  set.name = nameOf(member, Derived::setter);
  set.parameters = {parameterType(member.type, space_) + " value"};
  set.body = {std::string(ValueNames::held) + " = value;"};
  functions_.add(set, &member);
}

}  // namespace tdc
