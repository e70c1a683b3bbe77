#include <algorithm>

#include "tdc/emit/ClassModel.h"
#include "tdc/emit/ClassParts.h"
#include "tdc/emit/CppNames.h"
#include "tdc/emit/Function.h"

namespace tdc {

namespace {

using Place = Function::Place;

const std::string held = ValueNames::held;

std::vector<const Member*> storedFields(const Type& type) { return type.stored(); }

class ValueClass {
 public:
  explicit ValueClass(const Type& type) : type_(type), space_(type.nameSpace) {
    addConstruction();
    for (const Member& member : type.members) addMember(member);
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
    declareConstants(out);
    out.line();
    functions_.declare(out);
    out.line();
    declareComparison(out);
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
  bool isUnion() const { return type_.kind == TypeKind::unionType; }

  void add(Function function, const Member* member = nullptr) {
    functions_.add(std::move(function), member);
  }

  // The fields that a constructor takes: the fixed ones, or all of a plain record.
  std::vector<const Member*> constructorFields() const {
    std::vector<const Member*> fixed;
    std::vector<const Member*> all;
    for (const Member* member : storedFields(type_)) {
      if (member->kind == MemberKind::list || isUnion()) return fixedOnly();
      if (member->fixed) fixed.push_back(member);
      all.push_back(member);
    }
    if (!fixed.empty()) return fixed;
    return type_.noArguments ? std::vector<const Member*>() : all;
  }
  std::vector<const Member*> fixedOnly() const {
    std::vector<const Member*> fixed;
    for (const Member* member : storedFields(type_)) {
      if (member->fixed) fixed.push_back(member);
    }
    return fixed;
  }

  std::string rangeCall(const Member& member, const std::string& function,
                        const std::string& arguments) const {
    return function + "<" + boundExpression(member.range->low) + ", " +
           boundExpression(member.range->high) + ">(" + arguments + ", " +
           nameOf(member, Derived::rangeMessage) + ");";
  }

  void addConstruction() {
    Function plain;
    plain.doc = isUnion() ? "Holds the first alternative." : "Every field at its default.";
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
      fromFields.doc = fields.size() == storedFields(type_).size()
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

    Function fromLog;
    fromLog.doc = "Reads the log form, without range checks; throws Tovo::StreamException.";
    fromLog.name = type_.name;
    fromLog.parameters = {"Tovo::NboAttrLog::In* in", "Tovo::StreamBogon"};
    if (isUnion()) {
      fromLog.body = unionReader();
      fromLog.place = Place::source;
    } else if (type_.encodedSize) {
      fromLog.initializers = {type_.name + "(in->next<" + type_.name + ">())"};
    } else {
      fromLog.place = Place::source;
      for (const Member* field : storedFields(type_)) {
        fromLog.initializers.push_back(nameOf(*field, Derived::storage) + "(" +
                                       logForm(*field, space_) + "::read(*in))");
      }
    }
    if (storedFields(type_).empty() && !isUnion()) {
      fromLog.parameters = {"Tovo::NboAttrLog::In*", "Tovo::StreamBogon"};
      fromLog.initializers.clear();
    }
    add(fromLog);
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
    if (field.range)
      function.body = {rangeCall(field, "Frame::checkRange", nameOf(field, Derived::storage))};
    return function;
  }

  bool holdsString() const {
    for (const Member* field : storedFields(type_)) {
      if (!field->type.type->encodedSize) return true;
    }
    return false;
  }

  std::vector<std::string> unionReader() const {
    std::vector<std::string> body = {"switch (in->nextU8()) {"};
    size_t index = 0;
    for (const Member* alternative : storedFields(type_)) {
      body.push_back("  case " + std::to_string(index++) + ":");
      body.push_back("    " + held + " = " + logForm(*alternative, space_) + "::read(*in);");
      body.push_back("    break;");
    }
    body.push_back("  default:");
    body.push_back("    TOVO_ASSERT_AT(" + literal(placeName(*type_.module)) +
                   ", false && \"Unknown case for " + type_.name + "\");");
    body.emplace_back("}");
    return body;
  }

  void addGetter(const Member& member, const std::string& doc, const std::string& expression) {
    Function get;
    get.doc = doc;
    get.prefix = "constexpr";
    get.result = parameterType(member.type, space_);
    get.name = member.name;
    get.suffix = "const noexcept";
    get.body = {"return " + expression + ";"};
    if (!member.type.type->encodedSize && !member.type.optional) get.prefix.clear();
    add(get, &member);
  }

  void addMember(const Member& member) {
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

  void addField(const Member& member) {
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
    add(set, &member);
    if (member.kind != MemberKind::counter) return;
    Function inc;
    inc.doc = "Adds, modulo the counter's width, and returns the new value. Nobody is told.";
    inc.result = typeName(*member.type.type, space_);
    inc.name = nameOf(member, Derived::increment);
    inc.parameters = {inc.result + " delta"};
    inc.suffix = "&";
    inc.body = {"return " + nameOf(member, Derived::storage) + " = static_cast<" + inc.result +
                ">(" + nameOf(member, Derived::storage) + " + delta);"};
    add(inc, &member);
  }

  void addList(const Member& member) {
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
      add(f, &member);
    };
    function(documentation(member), "const " + list + "&", member.name, {}, "const noexcept",
             "return " + stored + ";");
    function("One element. Throws Pelmo::VectorOutOfRangeException.", element, member.name,
             {"size_t index"}, "const", "return " + stored + ".at(index);");
    function(
        "Overwrites an element. Throws Pelmo::VectorOutOfRangeException; then nothing changed.",
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

  void addBits(const Member& member) {
    const unsigned width = member.highBit - member.lowBit + 1;
    const std::string low = std::to_string(member.lowBit);
    const std::string mask = std::to_string((1u << width) - 1);
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
    add(set, &member);
  }

  void addIndexed(const Member& member) {
    const std::string value = parameterType(member.type, space_);
    Function get;
    get.doc = documentation(member);
    get.result = cppType(member.type, space_);
    get.name = member.name;
    get.parameters = {"uint8_t index"};
    get.suffix = "const";
    get.place = Place::hand;
    add(get, &member);
    Function set;
    set.doc = "Replaces the element at an index.";
    set.result = "void";
    set.name = nameOf(member, Derived::setter);
    set.parameters = {"uint8_t index", value + " value"};
    set.place = Place::hand;
    add(set, &member);
    Function del = set;
    del.doc = "Removes the element at an index, where the type allows that.";
    del.name = nameOf(member, Derived::eraser);
    del.parameters = {"uint8_t index"};
    add(del, &member);
  }

  void addQuery(const Member& member) {
    Function query;
    query.doc = documentation(member);
    query.result = cppType(member.type, space_);
    query.name = member.name;
    query.suffix = "const noexcept";
    query.place = Place::hand;
    add(query, &member);
  }

  void addAlternative(const Member& member) {
    const std::string index = std::to_string(alternativeIndex(member));
    Function get;
    get.doc = documentation(
        member, "Throws Tovo::BadAlternativeException while another alternative is held.");
    get.result = parameterType(member.type, space_);
    get.name = member.name;
    get.suffix = "const";
    get.body = {"if (" + held + ".index() != " + index + ") Tovo::throwBadAlternative(" +
                    literal(member.name) + ");",
                "return std::get<" + index + ">(" + held + ");"};
    add(get, &member);
    Function set;
    set.doc = "Holds this alternative from now on.";
    set.result = "void";
    set.name = nameOf(member, Derived::setter);
    set.parameters = {parameterType(member.type, space_) + " value"};
    set.body = {held + " = value;"};
    add(set, &member);
  }

  size_t alternativeIndex(const Member& member) const {
    const auto stored = storedFields(type_);
    size_t index = 0;
    while (stored[index] != &member) ++index;
    return index;
  }

  void addOperations() {
    if (isUnion()) {
      Function place;
      place.doc = "The place of the alternative that is held.";
      place.result = "uint8_t";
      place.name = ValueNames::heldIndex.name;
      place.suffix = "const noexcept";
      place.body = {"return static_cast<uint8_t>(" + held + ".index());"};
      add(place);
    }
    addCodec();
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

  void addCodec() {
    if (type_.encodedSize) {
      const std::string bytes = ValueNames::attrLogBytes.name;
      Function encode;
      encode.doc = "Writes " + bytes + " bytes.";
      encode.result = "void";
      encode.name = ValueNames::encode.name;
      encode.parameters = {storedFields(type_).empty() ? "uint8_t*" : "uint8_t* to"};
      encode.suffix = "const noexcept";
      const bool empty = storedFields(type_).empty();
      Function fill;
      fill.doc = "Reads " + bytes + " bytes, without range checks.";
      fill.result = "void";
      fill.name = ValueNames::decodeFrom.name;
      fill.parameters = {empty ? "const uint8_t*" : "const uint8_t* from"};
      fill.suffix = "noexcept";
      size_t offset = 0;
      for (const Member* field : storedFields(type_)) {
        const std::string at = offset == 0 ? "" : " + " + std::to_string(offset);
        const std::string stored = nameOf(*field, Derived::storage);
        const std::string type = storageType(*field, space_);
        if (field->wire32) {
          encode.body.push_back("Tovo::NboAttrLog::store(to" + at + ", static_cast<uint32_t>(" +
                                stored + "));");
          fill.body.push_back(stored + " = static_cast<" + type +
                              ">(Tovo::NboAttrLog::load<uint32_t>(from" + at + "));");
          offset += 4;
          continue;
        }
        encode.body.push_back("Tovo::NboAttrLog::Codec<" + type + ">::put(to" + at + ", " + stored +
                              ");");
        fill.body.push_back("Tovo::NboAttrLog::decodeInto(" + stored + ", from" + at + ");");
        offset += *field->type.type->encodedSize;
      }
      add(fill);
      Function decode;
      decode.doc = "A value from " + bytes + " bytes, without range checks.";
      decode.prefix = "static";
      decode.result = type_.name;
      decode.name = ValueNames::decode.name;
      decode.parameters = {"const uint8_t* from"};
      decode.suffix = "noexcept";
      decode.body = {type_.name + " value;",
                     std::string("value.") + ValueNames::decodeFrom.name + "(from);",
                     "return value;"};
      add(encode);
      add(decode);
      return;
    }
    Function size;
    size.doc = "Bytes that the value takes in the log.";
    size.prefix = "TDL_EXPORT";
    size.result = "size_t";
    size.name = ValueNames::attrLogSize;
    size.parameters = {"const " + type_.name + "* value"};
    size.place = Place::source;
    Function write;
    write.doc = "Writes the log form.";
    write.prefix = "TDL_EXPORT";
    write.result = "Tovo::NboAttrLog::Out&";
    write.name = "operator<<";
    write.parameters = {"Tovo::NboAttrLog::Out& out", "const " + type_.name + "& value"};
    write.place = Place::source;
    if (isUnion()) {
      const std::string heldIndex = std::string(ValueNames::heldIndex.name) + "()";
      size.body = {"switch (value->" + heldIndex + ") {"};
      write.body = {"Tovo::NboAttrLog::operator<<(out, value." + heldIndex + ");",
                    "switch (value." + heldIndex + ") {"};
      size_t index = 0;
      for (const Member* alternative : storedFields(type_)) {
        const std::string form = logForm(*alternative, space_);
        const std::string label = "  case " + std::to_string(index++) + ":";
        size.body.push_back(label);
        size.body.push_back("    return 1 + " + form + "::size(value->" + alternative->name +
                            "());");
        write.body.push_back(label);
        write.body.push_back("    " + form + "::write(out, value." + alternative->name + "());");
        write.body.push_back("    break;");
      }
      size.body.insert(size.body.end(), {"  default:", "    return 1;", "}"});
      write.body.insert(write.body.end(), {"  default:", "    break;", "}"});
    } else {
      std::string sum;
      for (const Member* field : storedFields(type_)) {
        const std::string form = logForm(*field, space_);
        size.body.push_back(std::string(size.body.empty() ? "size_t size = " : "size += ") + form +
                            "::size(value->" + field->name + "());");
        write.body.push_back(form + "::write(out, value." + field->name + "());");
      }
      size.body.emplace_back("return size;");
    }
    write.body.emplace_back("return out;");
    free_.push_back(size);
    free_.push_back(write);
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
    for (const Member* field : storedFields(type_)) {
      expression =
          "Tovo::hashSingleAttr(" + expression + ", " + nameOf(*field, Derived::storage) + ")";
    }
    if (type_.identityHash) expression = nameOf(*storedFields(type_).front(), Derived::storage);
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

  void declareConstants(Writer& out) const {
    bool first = true;
    for (const Member& member : type_.members) {
      if (!member.isConstant()) continue;
      if (first) out.line();
      first = false;
      out.doc(documentation(member));
      if (member.type.type->kind == TypeKind::string) {
        out.line("static const Pelmo::String " + member.name + ";");
      } else {
        out.assignment("static constexpr " + cppType(member.type, space_) + " " + member.name,
                       initialValue(member, space_));
      }
    }
    for (const Member& member : type_.members) {
      if (!hasRangeMessage(member)) continue;
      out.line();
      declareRangeMessage(out, member);
    }
  }

  // Seconds that are no number are unequal to themselves, which a value never is.
  void declareEquality(Writer& out, const std::string& pair) const {
    const auto fields = storedFields(type_);
    const bool seconds = std::any_of(fields.begin(), fields.end(), [](const Member* field) {
      return field->type.type->kind == TypeKind::seconds;
    });
    if (!seconds) {
      out.doc("Whether all that they hold is equal.");
      out.line("friend bool operator==(const " + type_.name + "&, const " + type_.name +
               "&) = default;");
      return;
    }
    out.doc("Whether they are the same object, or all that they hold is equal.");
    out.line("friend bool operator==" + pair + " {");
    out.indent();
    out.line("if (&a == &b) return true;");
    std::vector<std::string> names = {held};
    if (!isUnion()) {
      names.clear();
      for (const Member* field : fields) names.push_back(nameOf(*field, Derived::storage));
    }
    for (const std::string& name : names) {
      if (&name == &names.back()) {
        out.line("return a." + name + " == b." + name + ";");
      } else {
        out.line("if (a." + name + " != b." + name + ") return false;");
      }
    }
    out.outdent();
    out.line("}");
  }

  void declareComparison(Writer& out) const {
    const std::string pair = "(const " + type_.name + "& a, const " + type_.name + "& b)";
    declareEquality(out, pair);
    if (type_.order == Order::none) return;
    if (type_.order == Order::reflected) {
      const std::string field = nameOf(*storedFields(type_).front(), Derived::storage);
      out.doc("The order that reflection uses; there is no operator for it.");
      out.line(std::string("static constexpr bool ") + ValueNames::reflectedLess.name + pair +
               " noexcept {");
      out.line("  return a." + field + " < b." + field + ";");
      out.line("}");
      return;
    }
    out.doc(isUnion() || type_.handOrder ? "In the order that the class states."
                                         : "By the fields, the first one first.");
    const std::string head = "friend std::strong_ordering operator<=>(";
    const std::vector<std::string> parameters = {"const " + type_.name + "& a",
                                                 "const " + type_.name + "& b"};
    out.list(head, parameters, type_.handOrder ? ") noexcept;" : ") noexcept {");
    if (type_.handOrder) return;
    out.indent();
    if (isUnion()) {
      out.line("return a." + held + " <=> b." + held + ";");
    } else {
      const auto fields = storedFields(type_);
      for (size_t i = 0; i < fields.size(); ++i) {
        const std::string name = nameOf(*fields[i], Derived::storage);
        const std::string order = "Frame::order(a." + name + ", b." + name + ")";
        if (i + 1 == fields.size()) {
          out.line("return " + order + ";");
        } else {
          out.line("if (const auto by = " + order + "; by != 0) return by;");
        }
      }
    }
    out.outdent();
    out.line("}");
  }

  void declareStorage(Writer& out) const {
    if (isUnion()) {
      std::string alternatives;
      const auto stored = storedFields(type_);
      for (const Member* alternative : stored) {
        alternatives += (alternatives.empty() ? "" : ", ") + cppType(alternative->type, space_);
      }
      const std::string initial = initialValue(*stored.front(), space_);
      // A bare number might become any alternative that is made from one.
      const bool bare = stored.front()->type.type->isBuiltIn() && !initial.empty();
      out.line("std::variant<" + alternatives + "> " + held + "{" +
               (bare ? "std::in_place_index<0>, " : "") + initial + "};");
      return;
    }
    for (const Member* field : storedFields(type_)) {
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
  for (const Member& member : type.members) {
    if (!member.isConstant() || member.type.type->kind != TypeKind::string) continue;
    out.source.line("const Pelmo::String " + within(type.name, member.name) + "(" +
                    literal(member.initial.text) + ");");
    out.source.line();
  }
}

void declareRangeMessage(Writer& out, const Member& member) {
  out.doc("What the exception says when " + member.name + " is refused.");
  const std::string name =
      "static constexpr char " + nameOf(member, Derived::rangeMessage) + "[] =";
  const std::string text = literal(rangeMessage(member));
  if (out.indentation() + name.size() + 1 + text.size() + 1 <= Writer::width) {
    out.line(name + " " + text + ";");
    return;
  }
  out.line(name);
  out.text(rangeMessage(member), ";");
}

void emitScope(Output& out, const Type& type) {
  out.header.doc(type.doc);
  out.header.line("struct TDL_EXPORT " + type.name + " {");
  out.header.indent();
  for (const Type* nested : type.nested) {
    declareEnumeration(out.header, *nested);
    declareInstanceFunctions(out.header, *nested);
  }
  out.header.outdent();
  out.header.line("};");
  for (const Type* nested : type.nested) {
    declareEnumerationFunctions(out.header, *nested);
    defineEnumeration(out.source, *nested);
  }
  out.header.line();
}

}  // namespace tdc
