// stptool parse, encode, decode: single values, without a server.
#include <unistd.h>

#include <algorithm>

#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "stptool/commands/Commands.h"
#include "stptool/json/ValueJson.h"
#include "stptool/model/Describe.h"
#include "stptool/model/Explain.h"
#include "stptool/model/FindType.h"
#include "stptool/model/ShortText.h"
#include "stptool/output/Output.h"
#include "stptool/text/Hex.h"
#include "stptool/text/Suggest.h"
#include "stptool/text/Table.h"
#include "stptool/tree/ChangeText.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::ValueBuffer;

std::string namedType(const ValueShape& shape) { return Tovo::typeName(shape.type); }

// None but for an enumeration.
std::vector<std::string> literalsOf(const ValueShape& shape) {
  const Tovo::TypeDescriptor& descriptor = Tovo::typeDescriptor(shape.type);
  std::vector<std::string> literals;
  for (uint32_t i = 0; i < descriptor.literalCount; ++i) {
    literals.emplace_back(descriptor.literals[i].name);
  }
  return literals;
}

// What a value of the type looks like, for a message.
std::string exampleText(const ValueShape& shape) {
  std::string text;
  for (const std::string& literal : literalsOf(shape)) {
    text += (text.empty() ? "one of " : ", ") + literal;
  }
  if (!text.empty()) return text;
  if (const Attribute field = onlyField(shape.type)) return allowedText(field);
  ValueBuffer value(*shape.ops);
  value.constructDefault();
  return "text such as " + Tovo::valueText(*shape.ops, value.get());
}

void parseInto(ValueBuffer& value, const ValueShape& shape, const std::string& text) {
  const auto fail = [&](const std::string& message) {
    const std::vector<std::string> literals = literalsOf(shape);
    const std::string meant = nearest(text, literals);
    throw Failure(namedType(shape) + ": '" + text + "' " + message + suggestion(text, literals),
                  {.value = text, .allowed = exampleText(shape), .suggestion = meant});
  };
  try {
    Tovo::CharRange range(text);
    const Tovo::CharRangeCheckAllDataConsumed check(range);
    value.parse(range);
  } catch (const Tovo::RangeException& error) {
    const std::string reason = error.what();
    fail("is refused: " + reason +
         (reason.find("allowed are") == std::string::npos ? "; allowed: " + exampleText(shape)
                                                          : std::string()));
  } catch (const std::exception& error) {
    fail(std::string("cannot be parsed: ") + error.what());
  }
}

std::vector<uint8_t> encoded(const ValueShape& shape, const void* value) {
  std::vector<uint8_t> bytes(shape.ops->attrLogSize(value));
  Tovo::NboAttrLog::Out out(bytes);
  shape.ops->write(out, value);
  return bytes;
}

void readInto(ValueBuffer& value, const ValueShape& shape, const std::vector<std::string>& hex) {
  std::string text;
  for (const std::string& part : hex) text += part + " ";
  try {
    const std::vector<uint8_t> bytes = bytesOfHex(text);
    Tovo::NboAttrLog::In in(bytes);
    value.read(in);
    in.expectEnd();
  } catch (const std::exception& error) {
    const uint32_t size = shape.ops->encodedSize;
    throw Failure(namedType(shape) + ": " + error.what() +
                  (size == Tovo::TypeDescriptor::variableSize
                       ? std::string()
                       : "; it takes " + words::counted(size, "byte", "bytes")));
  }
}

// Fields, then what can be seen in them: views on bits, computed values.
std::string fieldsText(const ValueShape& shape, const void* value) {
  Table table({Style::name});
  const auto row = [&](Attribute member) {
    ValueBuffer held(member.ops());
    if (!getMember(shape.type, value, member, held)) return;
    const char* unit = member.detail().unit;
    table.row({member.name(), shortText(shapeOf(member), held.get()), unit ? unit : std::string()});
  };
  const std::vector<Attribute> views = membersOf(shape.type, AttributeKind::bits);
  const std::vector<Attribute> fields = membersOf(shape.type, AttributeKind::field);
  if (fields.size() > 1 || !views.empty()) std::for_each(fields.begin(), fields.end(), row);
  std::for_each(views.begin(), views.end(), row);
  for (const AttributeKind kind : {AttributeKind::alternative, AttributeKind::query}) {
    const std::vector<Attribute> members = membersOf(shape.type, kind);
    std::for_each(members.begin(), members.end(), row);
  }
  return table.text("  ");
}

Json valueJson(const ValueShape& shape, const void* value) {
  Json json;
  json["type"] = namedType(shape);
  json["text"] = Tovo::valueText(*shape.ops, value);
  json["value"] = toJson(shape, value);
  json["hex"] = hexText(encoded(shape, value));
  return json;
}

}  // namespace

void runParse(const ParseOptions& options) {
  const ValueShape shape = shapeOf(findValueType(options.type));
  ValueBuffer value(*shape.ops);
  parseInto(value, shape, options.text);
  if (options.json) {
    writeOut(lineOf(valueJson(shape, value.get())));
    return;
  }
  writeOut(Tovo::valueText(*shape.ops, value.get()) + "\n" + fieldsText(shape, value.get()));
}

void runEncode(const EncodeOptions& options) {
  const ValueShape shape = shapeOf(findValueType(options.type));
  ValueBuffer value(*shape.ops);
  parseInto(value, shape, options.text);
  writeOut(options.json ? lineOf(valueJson(shape, value.get()))
                        : hexText(encoded(shape, value.get())) + "\n");
}

void decodeValue(const DecodeOptions& options) {
  const ValueShape shape = shapeOf(findValueType(options.what));
  ValueBuffer value(*shape.ops);
  readInto(value, shape, options.hex);
  writeOut(options.json ? lineOf(valueJson(shape, value.get()))
                        : Tovo::valueText(*shape.ops, value.get()) + "\n");
}

// A file beside the type of the same name is meant when nothing follows it.
void runDecode(const DecodeOptions& options) {
  const bool isFile = options.what == "-" || ::access(options.what.c_str(), F_OK) == 0;
  if (options.hex.empty() && (isFile || options.what.find('/') != std::string::npos)) {
    decodeRecording(options);
  } else {
    decodeValue(options);
  }
}

}  // namespace stptool
