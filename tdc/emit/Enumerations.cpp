#include "tdc/emit/ClassModel.h"
#include "tdc/emit/CppNames.h"
#include "tdc/emit/Function.h"

namespace tdc {

namespace {

std::string number(const Type& type) { return type.width == 1 ? "unsigned" : "int"; }

// From inside the namespace: "PortRole", or "RstpBpduFlags::PortRole".
std::string local(const Type& type) { return typeName(type, type.nameSpace); }

std::vector<Function> instanceFunctions(const Type& type) {
  const std::string prefix = type.enclosing ? "static" : "TDL_EXPORT";
  Function byNumber;
  byNumber.doc = "The literal with a number; throws Tovo::RangeException.";
  byNumber.prefix = prefix;
  byNumber.result = type.enclosing ? type.name : local(type);
  byNumber.name = nameOf(type, Derived::instance);
  byNumber.parameters = {number(type) + " number"};
  byNumber.body = {"return Frame::literalOf<" + local(type) + ">(number);"};
  byNumber.place = Function::Place::source;
  Function byName = byNumber;
  byName.doc = "The literal with a name; throws Tovo::RangeException.";
  byName.parameters = {"const Pelmo::String& name"};
  byName.body = {"return Frame::literalOf<" + local(type) + ">(name);"};
  return {byNumber, byName};
}

std::vector<Function> freeFunctions(const Type& type) {
  Function text;
  text.doc = "The literal's name; throws Tovo::RangeException for a number without one.";
  text.prefix = "TDL_EXPORT";
  text.result = "Pelmo::String";
  text.name = EnumerationNames::stringValue;
  text.parameters = {local(type) + " value"};
  text.body = {"return Frame::literalName(value);"};
  text.place = Function::Place::source;

  Function parse = text;
  parse.doc = "Reads a literal's name; throws Tovo::ParseException.";
  parse.result = "void";
  parse.name = EnumerationNames::sequenceToValue;
  parse.parameters = {"Tovo::CharRange& text", local(type) + "* value"};
  parse.body = {"Frame::parseLiteral(text, value);"};

  Function print = text;
  print.doc = "The literal's name, or the number where it has none.";
  print.result = "std::ostream&";
  print.name = "operator<<";
  print.parameters = {"std::ostream& os", "const " + local(type) + "& value"};
  print.body = {"return Frame::printLiteral(os, value);"};
  return {text, parse, print};
}

}  // namespace

void declareEnumeration(Writer& out, const Type& type) {
  out.doc(type.doc);
  out.line("enum class " + type.name + " : " + (type.width == 1 ? "uint8_t" : "int") + " {");
  out.indent();
  for (const Literal& each : type.literals) {
    out.doc(each.doc);
    out.line(each.name + " = " + std::to_string(each.number) + ",");
  }
  out.outdent();
  out.line("};");
}

void declareInstanceFunctions(Writer& out, const Type& type) {
  for (const Function& function : instanceFunctions(type)) printDeclaration(out, function);
}

void declareEnumerationFunctions(Writer& out, const Type& type) {
  for (const Function& function : freeFunctions(type)) printDeclaration(out, function);
}

void defineEnumeration(Writer& out, const Type& type) {
  const std::string scope = type.enclosing ? typeName(*type.enclosing, type.nameSpace) : "";
  for (Function function : instanceFunctions(type)) {
    if (type.enclosing) function.result = local(type);
    printDefinition(out, function, scope);
  }
  for (const Function& function : freeFunctions(type)) printDefinition(out, function, "");
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
