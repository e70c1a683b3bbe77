#include "tdc/emit/ValueCodec.h"

#include "tdc/emit/CppNames.h"

namespace tdc {

namespace {

using Place = Function::Place;

std::vector<std::string> unionReader(const Type& type) {
  const std::string& space = type.nameSpace;
  std::vector<std::string> body = {"switch (in->nextU8()) {"};
  size_t index = 0;
  for (const Member* alternative : type.stored()) {
    body.push_back("  case " + std::to_string(index++) + ":");
    body.push_back(std::string("    ") + ValueNames::held + " = " + logForm(*alternative, space) +
                   "::read(*in);");
    body.push_back("    break;");
  }
  body.push_back("  default:");
  body.push_back("    TOVO_ASSERT_AT(" + literal(placeName(*type.module)) +
                 ", false && \"Unknown case for " + type.name + "\");");
  body.emplace_back("}");
  return body;
}

}  // namespace

Function logConstructor(const Type& type) {
  const std::string& space = type.nameSpace;
  Function fromLog;
  fromLog.doc = "Reads the log form, without range checks; throws Tovo::StreamException.";
  fromLog.name = type.name;
  fromLog.parameters = {"Tovo::NboAttrLog::In* in", "Tovo::StreamBogon"};
  if (type.isUnion()) {
    fromLog.body = unionReader(type);
    fromLog.place = Place::source;
  } else if (type.encodedSize) {
    fromLog.initializers = {type.name + "(in->next<" + type.name + ">())"};
  } else {
    fromLog.place = Place::source;
    for (const Member* field : type.stored()) {
      fromLog.initializers.push_back(nameOf(*field, Derived::storage) + "(" +
                                     logForm(*field, space) + "::read(*in))");
    }
  }
  if (type.stored().empty() && !type.isUnion()) {
    fromLog.parameters = {"Tovo::NboAttrLog::In*", "Tovo::StreamBogon"};
    fromLog.initializers.clear();
  }
  return fromLog;
}

std::vector<Function> codecMembers(const Type& type) {
  if (!type.encodedSize) return {};
  const std::string& space = type.nameSpace;
  const std::string bytes = ValueNames::attrLogBytes.name;
  Function encode;
  encode.doc = "Writes " + bytes + " bytes.";
  encode.result = "void";
  encode.name = ValueNames::encode.name;
  encode.parameters = {type.stored().empty() ? "uint8_t*" : "uint8_t* to"};
  encode.suffix = "const noexcept";
  const bool empty = type.stored().empty();
  Function fill;
  fill.doc = "Reads " + bytes + " bytes, without range checks.";
  fill.result = "void";
  fill.name = ValueNames::decodeFrom.name;
  fill.parameters = {empty ? "const uint8_t*" : "const uint8_t* from"};
  fill.suffix = "noexcept";
  size_t offset = 0;
  for (const Member* field : type.stored()) {
    const std::string at = offset == 0 ? "" : " + " + std::to_string(offset);
    const std::string stored = nameOf(*field, Derived::storage);
    const std::string stores = storageType(*field, space);
    if (field->wire32) {
      encode.body.push_back("Tovo::NboAttrLog::store(to" + at + ", static_cast<uint32_t>(" +
                            stored + "));");
      fill.body.push_back(stored + " = static_cast<" + stores +
                          ">(Tovo::NboAttrLog::load<uint32_t>(from" + at + "));");
      offset += 4;
      continue;
    }
    encode.body.push_back("Tovo::NboAttrLog::Codec<" + stores + ">::put(to" + at + ", " + stored +
                          ");");
    fill.body.push_back("Tovo::NboAttrLog::decodeInto(" + stored + ", from" + at + ");");
    offset += *field->type.type->encodedSize;
  }
  Function decode;
  decode.doc = "A value from " + bytes + " bytes, without range checks.";
  decode.prefix = "static";
  decode.result = type.name;
  decode.name = ValueNames::decode.name;
  decode.parameters = {"const uint8_t* from"};
  decode.suffix = "noexcept";
  decode.body = {type.name + " value;",
                 std::string("value.") + ValueNames::decodeFrom.name + "(from);", "return value;"};
  return {fill, encode, decode};
}

std::vector<Function> codecFunctions(const Type& type) {
  if (type.encodedSize) return {};
  const std::string& space = type.nameSpace;
  Function size;
  size.doc = "Bytes that the value takes in the log.";
  size.prefix = "TDL_EXPORT";
  size.result = "size_t";
  size.name = ValueNames::attrLogSize;
  size.parameters = {"const " + type.name + "* value"};
  size.place = Place::source;
  Function write;
  write.doc = "Writes the log form.";
  write.prefix = "TDL_EXPORT";
  write.result = "Tovo::NboAttrLog::Out&";
  write.name = "operator<<";
  write.parameters = {"Tovo::NboAttrLog::Out& out", "const " + type.name + "& value"};
  write.place = Place::source;
  if (type.isUnion()) {
    const std::string heldIndex = std::string(ValueNames::heldIndex.name) + "()";
    size.body = {"switch (value->" + heldIndex + ") {"};
    write.body = {"Tovo::NboAttrLog::operator<<(out, value." + heldIndex + ");",
                  "switch (value." + heldIndex + ") {"};
    size_t index = 0;
    for (const Member* alternative : type.stored()) {
      const std::string form = logForm(*alternative, space);
      const std::string label = "  case " + std::to_string(index++) + ":";
      size.body.push_back(label);
      size.body.push_back("    return 1 + " + form + "::size(value->" + alternative->name + "());");
      write.body.push_back(label);
      write.body.push_back("    " + form + "::write(out, value." + alternative->name + "());");
      write.body.push_back("    break;");
    }
    size.body.insert(size.body.end(), {"  default:", "    return 1;", "}"});
    write.body.insert(write.body.end(), {"  default:", "    break;", "}"});
  } else {
    std::string sum;
    for (const Member* field : type.stored()) {
      const std::string form = logForm(*field, space);
      size.body.push_back(std::string(size.body.empty() ? "size_t size = " : "size += ") + form +
                          "::size(value->" + field->name + "());");
      write.body.push_back(form + "::write(out, value." + field->name + "());");
    }
    size.body.emplace_back("return size;");
  }
  write.body.emplace_back("return out;");
  return {size, write};
}

}  // namespace tdc
