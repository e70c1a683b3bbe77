#include <algorithm>

#include "tdc/emit/ClassModel.h"
#include "tdc/emit/ClassParts.h"
#include "tdc/emit/Constants.h"
#include "tdc/emit/CppNames.h"
#include "tdc/emit/Function.h"
#include "tdc/emit/ValueCodec.h"
#include "tdc/emit/ValueComparison.h"
#include "tdc/emit/ValueMembers.h"
#include "words/Phrases.h"

namespace tdc {

namespace {

using Place = Function::Place;

const std::string held = ValueNames::held;

class ValueClass {
 public:
  explicit ValueClass(const Type& type) : type_(type), space_(type.nameSpace) {
    addConstruction();
    ValueMembers members(type, functions_);
    for (const Member& member : type.members) members.add(member);
    addOperations();
  }

  void declare(Writer& out) const {
    openClass(out, type_, "");
    if (type_.encodedSize) {
      out.doc("Bytes that a value takes in the log.");
      out.line(std::string("static constexpr size_t ") + ValueNames::attrLogBytes.name + " = " +
               std::to_string(*type_.encodedSize) + ";");
    }
    declareTags(out);
    declareConstants(out, type_);
    out.line();
    functions_.declare(out);
    out.line();
    declareComparison(out, type_);
    openPrivate(out, type_);
    declareStorage(out);
    closeClass(out);
    for (const Function& function : free_) printDeclaration(out, function);
    for (const Type* nested : type_.nested) declareEnumerationFunctions(out, *nested);
    out.line();
  }

  void define(Writer& out) const {
    functions_.define(out, type_.name);
    for (const Function& function : free_) printDefinition(out, function, "");
    for (const Type* nested : type_.nested) defineEnumeration(out, *nested);
  }

 private:
  void add(Function function, const Member* member = nullptr) {
    functions_.add(std::move(function), member);
  }

  // The fields that a constructor takes: the fixed ones, or all of a plain record.
  std::vector<const Member*> constructorFields() const {
    std::vector<const Member*> fixed;
    std::vector<const Member*> all;
    for (const Member* member : type_.stored()) {
      if (member->kind == MemberKind::list || type_.isUnion()) return fixedOnly();
      if (member->fixed) fixed.push_back(member);
      all.push_back(member);
    }
    if (!fixed.empty()) return fixed;
    return type_.noArguments ? std::vector<const Member*>() : all;
  }
  std::vector<const Member*> fixedOnly() const {
    std::vector<const Member*> fixed;
    for (const Member* member : type_.stored()) {
      if (member->fixed) fixed.push_back(member);
    }
    return fixed;
  }

  void addConstruction() {
    Function plain;
    plain.doc = type_.isUnion() ? "Holds the first alternative." : "Every field at its default.";
    plain.name = type_.name;
    plain.place = Place::defaulted;
    add(plain);

    const std::vector<const Member*> fields = constructorFields();
    if (const Member* number = type_.number()) {
      add(fromNumber(*number));
    } else if (!fields.empty()) {
      Function fromFields;
      bool checked = false;
      for (const Member* field : fields) {
        fromFields.parameters.push_back(parameterType(field->type, space_) + " " + field->name);
        fromFields.initializers.push_back(nameOf(*field, Derived::storage) + "(" + field->name +
                                          ")");
        if (!field->range) continue;
        checked = true;
        fromFields.body.push_back(rangeCall(*field, "Frame::checkRange", field->name));
      }
      fromFields.prefix = fields.size() == 1 ? "explicit constexpr" : "constexpr";
      if (holdsString()) fromFields.prefix = fields.size() == 1 ? "explicit" : "";
      fromFields.doc = fields.size() == type_.stored().size()
                           ? "From its fields."
                           : "From the fields that stay as they are constructed.";
      if (checked) fromFields.doc += " Throws Tovo::RangeException.";
      fromFields.name = type_.name;
      add(fromFields);
    }

    Function fromText;
    fromText.doc = "Reads the text form; throws Tovo::RangeException.";
    fromText.prefix = "explicit";
    fromText.name = type_.name;
    fromText.parameters = {"Tovo::CharRange& text"};
    fromText.body = {"TovoPelmo::parseValue(text, *this);"};
    fromText.place = type_.handParse ? Place::hand : Place::source;
    add(fromText);

    add(logConstructor(type_));
  }

  Function fromNumber(const Member& field) const {
    Function function;
    function.doc = "From its number, of any integer type; throws Tovo::RangeException.";
    function.prefix = "constexpr";
    function.name = type_.name;
    function.parameters = {"Tovo::Integer auto " + field.name};
    function.initializers = {nameOf(field, Derived::storage) + "(Tovo::fieldNumber<" +
                             cppType(field.type, space_) + ">(" + field.name + ", " +
                             nameOf(field, Derived::rangeMessage) + "))"};
    if (field.range) {
      function.body = {rangeCall(field, "Frame::checkRange", nameOf(field, Derived::storage))};
    }
    return function;
  }

  bool holdsString() const {
    for (const Member* field : type_.stored()) {
      if (!field->type.type->encodedSize) return true;
    }
    return false;
  }

  void addOperations() {
    if (type_.isUnion()) {
      Function place;
      place.doc = "The place of the alternative that is held.";
      place.result = "uint8_t";
      place.name = ValueNames::heldIndex.name;
      place.suffix = "const noexcept";
      place.body = {"return static_cast<uint8_t>(" + held + ".index());"};
      add(place);
    }
    for (const Function& function : codecMembers(type_)) add(function);
    for (const Function& function : codecFunctions(type_)) free_.push_back(function);
    addHash();
    Function text;
    text.doc = "Appends the text form.";
    text.result = "void";
    text.name = ValueNames::appendText.name;
    text.parameters = {"std::string& out"};
    text.suffix = "const";
    text.body = {"TovoPelmo::appendValue(out, *this);"};
    text.place = Place::source;
    add(text);
    Function identity;
    identity.doc = "The type that this class stands for.";
    identity.prefix = "static";
    identity.result = "Tovo::TovoTypeBase";
    identity.name = ValueNames::tovoStaticType.name;
    identity.suffix = "noexcept";
    identity.body = {"return {&" + recordName(*type_.module) + ", " + std::to_string(type_.index) +
                     "};"};
    identity.place = Place::source;
    add(identity);
    Function equal;
    equal.doc = "Compares two values that are known by their addresses only.";
    equal.prefix = "static";
    equal.result = "bool";
    equal.name = ValueNames::isEq.name;
    equal.parameters = {"const void* a", "const void* b"};
    equal.body = {"return Frame::isEq<" + type_.name + ">(a, b);"};
    equal.place = Place::source;
    add(equal);

    Function print;
    print.doc = "Prints the text form, padded as a string is; base and locale do not show.";
    print.prefix = "TDL_EXPORT";
    print.result = "std::ostream&";
    print.name = "operator<<";
    print.parameters = {"std::ostream& os", "const " + type_.name + "& value"};
    print.body = {"return Frame::print(os, value);"};
    print.place = Place::source;
    free_.push_back(print);
  }

  void addHash() {
    if (!type_.hashable) return;
    if (type_.identityHash && type_.find(ValueNames::hash.name)) return;
    Function hash;
    hash.doc = "Stable within a process only.";
    hash.result = "uint32_t";
    hash.name = ValueNames::hash.name;
    hash.suffix = "const noexcept";
    std::string expression = "0";
    for (const Member* field : type_.stored()) {
      expression =
          "Tovo::hashSingleAttr(" + expression + ", " + nameOf(*field, Derived::storage) + ")";
    }
    if (type_.identityHash) expression = nameOf(*type_.stored().front(), Derived::storage);
    hash.body = {"return " + expression + ";"};
    add(hash);
  }

  void declareTags(Writer& out) const {
    for (const Member& member : type_.members) {
      if (member.kind != MemberKind::list) continue;
      out.doc("Pays for the memory of " + member.name + ".");
      out.line("struct " + nameOf(member, Derived::elementTag) + ";");
    }
  }

  void declareStorage(Writer& out) const {
    if (type_.isUnion()) {
      const auto stored = type_.stored();
      std::vector<std::string> alternatives;
      for (const Member* each : stored) alternatives.push_back(cppType(each->type, space_));
      const std::string initial = initialValue(*stored.front(), space_);
      // A bare number might become any alternative that is made from one.
      const bool bare = stored.front()->type.type->isBuiltIn() && !initial.empty();
      out.line("std::variant<" + words::joined(alternatives) + "> " + held + "{" +
               (bare ? "std::in_place_index<0>, " : "") + initial + "};");
      return;
    }
    for (const Member* field : type_.stored()) {
      const std::string initial =
          field->kind == MemberKind::list ? "" : initialValue(*field, space_);
      out.assignment(ownStorageType(*field, space_) + " " + nameOf(*field, Derived::storage),
                     initial);
    }
  }

  const Type& type_;
  std::string space_;
  MemberFunctions functions_;
  std::vector<Function> free_;
};

}  // namespace

void emitValue(Output& out, const Type& type) {
  const ValueClass value(type);
  value.declare(out.header);
  value.define(out.source);
  defineConstants(out.source, type);
}

}  // namespace tdc
