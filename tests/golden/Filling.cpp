#include "Filling.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "stptool/model/ValueShape.h"

namespace Golden {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;

namespace {

Buffer parsed(const Tovo::ValueOps& ops, std::string_view text) {
  auto buffer = std::make_unique<Tovo::ValueBuffer>(ops);
  Tovo::CharRange range(text);
  buffer->parse(range);
  return buffer;
}

Buffer copied(const Tovo::ValueOps& ops, const void* source) {
  auto buffer = std::make_unique<Tovo::ValueBuffer>(ops);
  buffer->constructFrom(source);
  return buffer;
}

// Types that no description tells the fields of.
const std::map<std::string_view, std::string_view> importedTexts = {
    {"Nelka::EthAddr", "00:00:5e:00:53:c1"},
    {"Nelka::IntfId", "Ethernet3/2"},
    {"Bridging::VlanId", "1234"},
    {"Bridging::VlanIdOrNone", "77"},
    {"Bridging::VlanIdRange", "100-2047"},
};

}  // namespace

Filling::Filling(std::string_view name) {
  for (const char c : name) state_ = (state_ ^ static_cast<unsigned char>(c)) * 0x100000001b3;
}

uint64_t Filling::number(uint64_t low, uint64_t high) {
  state_ = state_ * 6364136223846793005 + 1442695040888963407;
  return low + (state_ >> 33) % (high - low + 1);
}

Buffer Filling::primitive(const Tovo::ValueOps& ops, Tovo::TypeCode code) {
  const Tovo::PrimitiveType& primitive = Tovo::primitiveType(code);
  switch (primitive.form) {
    case Tovo::PrimitiveForm::boolean:
      return parsed(ops, "true");
    case Tovo::PrimitiveForm::text:
      return parsed(ops, "'it\\'s \\xff " + std::to_string(number(0, 99)) + "'");
    case Tovo::PrimitiveForm::seconds:
      return parsed(ops, std::to_string(number(1, 999)) + ".5");
    case Tovo::PrimitiveForm::integer:
    case Tovo::PrimitiveForm::none:
      break;
  }
  return parsed(ops, std::to_string(number(1, std::min<uint64_t>(primitive.highest, 0x7fffffff))));
}

Buffer Filling::value(Tovo::TovoTypeBase type) {
  const Tovo::ValueOps& ops = *Tovo::valueOps(type);
  const Tovo::TypeDescriptor& descriptor = Tovo::typeDescriptor(type);
  if (descriptor.kind == Tovo::TypeKind::enumeration) {
    return parsed(ops, descriptor.literals[descriptor.literalCount - 1].name);
  }
  if (const auto text = importedTexts.find(descriptor.name); text != importedTexts.end()) {
    return parsed(ops, text->second);
  }

  std::vector<Buffer> arguments;
  std::vector<const void*> pointers;
  std::vector<Attribute> settable;
  for (const AttributeDescriptor& own : Tovo::ownAttributes(type)) {
    const Attribute attribute(*type.module, own);
    if (attribute.has(AttributeDescriptor::fixed)) {
      arguments.push_back(member(attribute));
      pointers.push_back(arguments.back()->get());
    } else if (attribute.kind() == AttributeKind::field ||
               attribute.kind() == AttributeKind::alternative) {
      settable.push_back(attribute);
    }
  }
  auto buffer = std::make_unique<Tovo::ValueBuffer>(ops);
  if (arguments.empty()) {
    buffer->constructDefault();
  } else {
    Tovo::ValueBuffer made(ops);
    Tovo::genericIf(type).genericIfConstructFromCtorArgs(type, made.get(), pointers);
    buffer->constructFrom(made.get());
    ops.destruct(made.get());
  }
  for (const Attribute attribute : settable) {
    stptool::setMember(type, buffer->get(), attribute, member(attribute)->get());
  }
  return buffer;
}

Buffer Filling::member(Attribute attribute) {
  const Tovo::ValueOps& ops = attribute.ops();
  const Tovo::TovoTypeBase type = attribute.type();
  if (ops.list) {
    auto list = std::make_unique<Tovo::ValueBuffer>(ops);
    list->constructDefault();
    for (int left = 2; left > 0; --left) {
      const Buffer element =
          type ? value(type) : primitive(*ops.list->element, attribute.descriptor().type);
      ops.list->push(list->get(), element->get());
    }
    return list;
  }
  if (ops.optional) {
    const Tovo::ValueOps& inner = *ops.optional->element;
    const Buffer element = type ? value(type) : primitive(inner, attribute.descriptor().type);
    return parsed(ops, Tovo::valueText(inner, element->get()));
  }
  if (attribute.has(AttributeDescriptor::ranged)) {
    return parsed(ops, std::to_string(number(attribute.detail().low, attribute.detail().high)));
  }
  // Some enumerations are wider in their place than by themselves, so the place's table counts.
  return type ? copied(ops, value(type)->get()) : primitive(ops, attribute.descriptor().type);
}

Buffer Filling::key(Attribute collection) {
  return collection.keyType() ? value(collection.keyType())
                              : primitive(collection.keyOps(), collection.descriptor().key);
}

Pelmo::Ptr<Tovo::Entity> Filling::entity(Tovo::TovoTypeBase type, std::string_view name) {
  std::vector<Buffer> parameters;
  std::vector<const void*> pointers;
  for (const Attribute parameter : Tovo::constructorParameters(type)) {
    parameters.push_back(member(parameter));
    pointers.push_back(parameters.back()->get());
  }
  std::string text(name);
  if (const Attribute keyed = Tovo::keyParameter(type)) {
    text = Tovo::plainText(keyed.ops(), member(keyed)->get());
  }
  return Tovo::genericIf(type).newEntityForDir(type, Pelmo::String(text), pointers);
}

void Filling::fill(Tovo::Entity& entity, Tovo::Entity& target) {
  const Tovo::TovoTypeBase type = entity.tovoType();
  Tovo::forEachAttribute(type, [&](Attribute attribute) {
    if (!attribute.isLogged()) return;
    const bool entities = attribute.kind() == AttributeKind::pointer ||
                          attribute.kind() == AttributeKind::ownCollection ||
                          attribute.kind() == AttributeKind::refCollection;
    const bool fits = entities && Tovo::isDerived(target.tovoType(), attribute.type());
    const auto keyText = [&] { return Tovo::plainText(attribute.keyOps(), key(attribute)->get()); };
    switch (attribute.kind()) {
      case AttributeKind::pointer:
        if (fits) Tovo::pointerIs(entity, attribute, &target);
        return;
      case AttributeKind::ownCollection: {
        std::vector<std::string> parameters;
        for (const Attribute parameter : Tovo::constructorParameters(attribute.type())) {
          parameters.push_back(Tovo::valueText(parameter.ops(), member(parameter)->get()));
        }
        Tovo::newElement(entity, attribute, keyText(), parameters);
        return;
      }
      case AttributeKind::refCollection:
        if (fits) Tovo::putReference(entity, attribute, keyText(), target);
        return;
      case AttributeKind::valueCollection:
      case AttributeKind::selfKeyedCollection: {
        const std::string value = Tovo::valueText(attribute.ops(), member(attribute)->get());
        Tovo::putElement(entity, attribute, keyText(), value);
        return;
      }
      default: {
        const Pelmo::FieldDescriptor field = attribute.field();
        Tovo::genericIf(type).genericIfAttributeOp(type, nullptr, &entity, &field,
                                                   Tovo::OperationCode::set, nullptr,
                                                   member(attribute)->get());
      }
    }
  });
}

}  // namespace Golden
