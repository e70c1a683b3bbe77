#include "Support.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "Tovo/AllocTrack.h"
#include "Tovo/System.h"

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;

void ModelTest::SetUp() { liveBefore_ = Tovo::AllocTrackTypeInfo::totalLiveObjects(); }

void ModelTest::TearDown() {
  EXPECT_EQ(Tovo::AllocTrackTypeInfo::totalLiveObjects(), liveBefore_);
  Tovo::System::clockRuns();
}

Tovo::TovoTypeBase typeNamed(std::string_view name) {
  const Tovo::TovoTypeBase type = Tovo::typeByName(name);
  if (!type) throw std::logic_error("not registered: " + std::string(name));
  return type;
}

std::vector<Tovo::TovoTypeBase> modelTypes(std::initializer_list<Tovo::TypeKind> kinds) {
  std::vector<Tovo::TovoTypeBase> types;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    if (!moduleName(*module).starts_with("Stp")) continue;
    for (uint32_t index = 0; index < module->typeCount; ++index) {
      const Tovo::TypeKind kind = module->types[index].kind;
      if (std::find(kinds.begin(), kinds.end(), kind) != kinds.end()) {
        types.push_back({module, index});
      }
    }
  }
  return types;
}

std::string text(const Tovo::ValueOps& ops, const void* value) {
  std::string out;
  ops.print(out, value);
  return out;
}

std::string hex(std::span<const uint8_t> bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string out;
  for (const uint8_t byte : bytes) {
    out += digits[byte >> 4];
    out += digits[byte & 15];
  }
  return out;
}

std::vector<uint8_t> bytesOfHex(std::string_view digits) {
  std::vector<uint8_t> bytes;
  std::string pair;
  for (const char c : digits) {
    if (c == ' ' || c == '\n') continue;
    pair += c;
    if (pair.size() < 2) continue;
    bytes.push_back(static_cast<uint8_t>(std::stoul(pair, nullptr, 16)));
    pair.clear();
  }
  return bytes;
}

std::vector<uint8_t> encoded(const Tovo::ValueOps& ops, const void* value) {
  std::vector<uint8_t> bytes(ops.attrLogSize(value));
  Tovo::NboAttrLog::Out out(bytes);
  ops.write(out, value);
  EXPECT_EQ(out.left(), 0u);
  return bytes;
}

uint8_t attributeOp(Tovo::TovoTypeBase type, void* result, void* object, unsigned id, uint32_t code,
                    const void* other, const void* argument) {
  const auto fieldId = static_cast<uint16_t>(id);
  const Pelmo::FieldDescriptor field(&fieldId);
  return genericIf(type).genericIfAttributeOp(type, result, object, &field, code, other, argument);
}

uint8_t wholeOp(Tovo::TovoTypeBase type, bool& result, const void* object, uint32_t code,
                const void* other) {
  uint8_t answer = 2;
  const uint8_t done = genericIf(type).genericIfAttributeOp(
      type, &answer, const_cast<void*>(object), nullptr, code, other, nullptr);
  EXPECT_TRUE(done != 0 || answer < 2);
  result = answer == 1;
  return done;
}

std::string gotFrom(Tovo::TovoTypeBase type, void* object, Attribute attribute) {
  namespace Code = Tovo::OperationCode;
  if (attribute.kind() == AttributeKind::pointer) {
    Pelmo::Ptr<Tovo::Entity> target;
    attributeOp(type, &target, object, attribute.id(), Code::get);
    return target ? std::string(target->nameString().view()) : "None";
  }
  const bool entities = attribute.kind() == AttributeKind::ownCollection ||
                        attribute.kind() == AttributeKind::refCollection;
  Tovo::ValueBuffer result(entities ? Tovo::primitiveOps(Tovo::PrimitiveCode::u32)
                                    : attribute.ops());
  result.constructDefault();
  const uint8_t answer = attributeOp(type, result.get(), object, attribute.id(), Code::get);
  return answer == 0 ? text(result.ops(), result.get()) : "(" + std::to_string(answer) + ")";
}

std::string got(Tovo::Entity& entity, unsigned id) {
  const Tovo::TovoTypeBase type = entity.tovoType();
  return gotFrom(type, &entity, attributeById(type, static_cast<Tovo::AttributeId>(id)));
}

// ---------------------------------------------------------------------------------- random values

namespace {

Buffer parsed(const Tovo::ValueOps& ops, const std::string& from) {
  auto buffer = std::make_unique<Tovo::ValueBuffer>(ops);
  Tovo::CharRange range(from);
  buffer->parse(range);
  return buffer;
}

template <class T>
Buffer holding(const Tovo::ValueOps& ops, const T& value) {
  auto buffer = std::make_unique<Tovo::ValueBuffer>(ops);
  buffer->constructFrom(&value);
  return buffer;
}

}  // namespace

Buffer Samples::primitive(const Tovo::ValueOps& ops, std::string_view name) {
  if (name == "bool") return holding(ops, number(0, 1) == 1);
  if (name == "Seconds") {
    double seconds = 0;
    do {
      seconds = std::bit_cast<double>(random_());
    } while (!std::isfinite(seconds));
    return holding(ops, number(0, 3) == 0 ? static_cast<double>(number(0, 100)) : seconds);
  }
  if (name == "String") {
    std::string bytes(number(0, 12), '\0');
    for (char& c : bytes) c = static_cast<char>(number(0, 255));
    return holding(ops, Pelmo::String(bytes));
  }
  // Small ranges often, so that equal values, ties and wrapping all occur.
  const uint64_t highest = name == "u8" ? 0xff : name == "u16" ? 0xffff : 0xffffffff;
  return parsed(ops, std::to_string(number(0, number(0, 1) == 0 ? 3 : highest)));
}

Buffer Samples::imported(const Tovo::ValueOps& ops, std::string_view name) {
  std::vector<uint8_t> bytes(ops.encodedSize);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(number(0, 1) == 0 ? 0 : number(0, 255));
  if (name == "Bridging::VlanIdRange") {
    const uint64_t first = number(0, 4095);
    const uint64_t last = number(first, 4095);
    bytes = {static_cast<uint8_t>(first >> 8), static_cast<uint8_t>(first),
             static_cast<uint8_t>(last >> 8), static_cast<uint8_t>(last)};
  } else if (name.starts_with("Bridging::VlanId")) {
    bytes[0] &= 0x0f;
  }
  auto buffer = std::make_unique<Tovo::ValueBuffer>(ops);
  Tovo::NboAttrLog::In in(bytes);
  buffer->read(in);
  return buffer;
}

Buffer Samples::any(Tovo::TovoTypeBase type) {
  const Tovo::ValueOps& ops = *Tovo::valueOps(type);
  const Tovo::TypeDescriptor& descriptor = typeDescriptor(type);
  if (descriptor.kind == Tovo::TypeKind::enumeration) {
    return parsed(ops, descriptor.literals[number(0, descriptor.literalCount - 1)].name);
  }
  const auto own = ownAttributes(type);
  if (moduleName(*type.module).substr(0, 3) != "Stp") return imported(ops, typeName(type));

  auto buffer = std::make_unique<Tovo::ValueBuffer>(ops);
  std::vector<Buffer> arguments;
  std::vector<const void*> pointers;
  for (const AttributeDescriptor& at : own) {
    if ((at.flags & AttributeDescriptor::fixed) == 0) continue;
    arguments.push_back(any(Attribute(*type.module, at)));
    pointers.push_back(arguments.back()->get());
  }
  if (arguments.empty()) {
    buffer->constructDefault();
  } else {
    Tovo::ValueBuffer made(ops);
    genericIf(type).genericIfConstructFromCtorArgs(type, made.get(), pointers);
    buffer->constructFrom(made.get());
    ops.destruct(made.get());
  }
  std::vector<Attribute> settable;
  for (const AttributeDescriptor& at : own) {
    const Attribute attribute(*type.module, at);
    const bool field =
        attribute.kind() == AttributeKind::field || attribute.kind() == AttributeKind::alternative;
    if (field && !attribute.has(AttributeDescriptor::fixed)) settable.push_back(attribute);
  }
  if (descriptor.kind == Tovo::TypeKind::unionValue) {
    settable = {settable[number(0, settable.size() - 1)]};
  }
  for (const Attribute attribute : settable) {
    const Buffer value = any(attribute);
    EXPECT_EQ(attributeOp(type, nullptr, buffer->get(), attribute.id(), Tovo::OperationCode::set,
                          nullptr, value->get()),
              0);
  }
  return buffer;
}

Buffer Samples::any(Attribute attribute) {
  const Tovo::ValueOps& ops = attribute.ops();
  if (ops.list) {
    auto list = std::make_unique<Tovo::ValueBuffer>(ops);
    list->constructDefault();
    for (uint64_t left = number(0, 3); left > 0; --left) {
      ops.list->push(list->get(), any(attribute.type())->get());
    }
    return list;
  }
  if (ops.optional) {
    if (number(0, 2) == 0) return parsed(ops, "None");
    if (!attribute.type()) return parsed(ops, number(0, 1) == 0 ? "false" : "true");
    return parsed(ops, text(*Tovo::valueOps(attribute.type()), any(attribute.type())->get()));
  }
  if (attribute.has(AttributeDescriptor::ranged)) {
    return parsed(ops, std::to_string(number(attribute.detail().low, attribute.detail().high)));
  }
  return attribute.type() ? any(attribute.type()) : primitive(ops, attribute.typeName());
}

// -------------------------------------------------------------------------------- recorded changes

void Recorder::handleChange(const Pelmo::Change& change) {
  Tovo::Entity& source = Tovo::entityOf(change.source);
  const Attribute attribute = attributeById(source.tovoType(), change.attribute);
  EXPECT_TRUE(attribute) << change.attribute;
  std::string line(source.nameString().view());
  line += std::string(".") + attribute.name();
  EXPECT_EQ(change.key != nullptr, attribute.isCollection());
  if (change.key) line += "[" + text(attribute.keyOps(), change.key) + "]";
  const AttributeKind kind = attribute.kind();
  if (!change.previous) {
    line += " added";
  } else if (kind == AttributeKind::pointer || kind == AttributeKind::ownCollection ||
             kind == AttributeKind::refCollection) {
    // All entities begin with their base, so any counted pointer reads as one to it.
    const auto& was = *static_cast<const Pelmo::Ptr<Tovo::Entity>*>(change.previous);
    line += " was " + (was ? std::string(was->nameString().view()) : "None");
  } else {
    line += " was " + text(attribute.ops(), change.previous);
  }
  seen_.push_back(line);
  if (then) then(change);
}

std::vector<std::string> Recorder::take() { return std::exchange(seen_, {}); }

Pelmo::Ptr<Tovo::Entity> newEntity(Tovo::TovoTypeBase type, Samples& samples) {
  std::vector<Buffer> parameters;
  std::vector<const void*> pointers;
  const bool keyed = (typeDescriptor(type).flags & Tovo::TypeDescriptor::keyedByParameter) != 0;
  forEachAttribute(type, [&](Attribute attribute) {
    if (attribute.kind() != AttributeKind::parameter) return;
    if (keyed && attribute.id() == Tovo::firstAttributeId) return;
    parameters.push_back(samples.any(attribute));
    pointers.push_back(parameters.back()->get());
  });
  const bool interface = keyed && attributeById(type, 258).type();
  return genericIf(type).newEntityForDir(type, interface ? "Ethernet1" : "1", pointers);
}

std::string keyText(Tovo::Attribute collection, int number) {
  const bool interface = collection.keyTypeName() == std::string("Nelka::IntfId");
  return (interface ? "Ethernet" : "") + std::to_string(number);
}

Receiver::Receiver(Tovo::Entity& entity)
    : id_(log_.carrier().carry(entity, {Tovo::NboAttrLog::MountSide::guest, true}, 0)) {}

void Receiver::apply(unsigned id, std::string_view payload) {
  const std::vector<uint8_t> bytes = bytesOfHex(payload);
  log_.handleMessage(id_, static_cast<Tovo::AttributeId>(id), Tovo::NboAttrLog::In(bytes));
}

AssertionsThrow::AssertionsThrow()
    : previous_(Tovo::assertionHandlerIs(&Tovo::throwAssertionError)) {}
AssertionsThrow::~AssertionsThrow() { Tovo::assertionHandlerIs(previous_); }
