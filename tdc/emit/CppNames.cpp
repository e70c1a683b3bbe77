#include "tdc/emit/CppNames.h"

#include <algorithm>
#include <filesystem>

#include "tdc/emit/Writer.h"
#include "tdc/model/Numbers.h"
#include "words/Phrases.h"

namespace tdc {

namespace {

std::string folderOf(const Module& module) {
  return std::filesystem::absolute(module.path).parent_path().filename().string();
}

std::string realText(double real) {
  const std::string text = plainText(real);
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

std::string widthText(const TypeUse& use) {
  const Type& type = *use.type;
  if (type.isInteger()) return std::to_string(8 * type.scalar->bytes) + " bits";
  if (type.is(ScalarForm::real)) return "seconds";
  return use.optional ? "optional" : "";
}

std::string implicitText(const Scalar& scalar) {
  switch (scalar.form) {
    case ScalarForm::integer:
    case ScalarForm::real:
      return "0";
    case ScalarForm::boolean:
      return "false";
    case ScalarForm::text:
      return "empty";
  }
  return {};
}

// Empty where the type's own start is meant.
std::string implicitValue(const Scalar& scalar) {
  switch (scalar.form) {
    case ScalarForm::integer:
      return "0";
    case ScalarForm::real:
      return "0.0";
    case ScalarForm::boolean:
      return "false";
    case ScalarForm::text:
      return {};
  }
  return {};
}

// The value of a type that says nothing of its own start, as a person reads it.
std::string implicitText(const TypeUse& use) {
  if (use.optional) return "absent";
  switch (use.type->kind) {
    case TypeKind::scalar:
      return implicitText(*use.type->scalar);
    case TypeKind::enumeration: {
      const Literal* zero = use.type->findLiteral(0);
      return zero ? zero->name : "0";
    }
    default:
      return {};
  }
}

}  // namespace

std::string typeName(const Type& type, const std::string& nameSpace) {
  return type.scalar ? type.scalar->cppType : writtenName(type, nameSpace);
}

std::string cppType(const TypeUse& use, const std::string& nameSpace) {
  const std::string name = typeName(*use.type, nameSpace);
  return use.optional ? "Tovo::OptionalByte<" + name + ">" : name;
}

std::string storageType(const Member& member, const std::string& nameSpace) {
  switch (member.kind) {
    case MemberKind::list:
      return "Pelmo::BasicVector<" + cppType(member.type, nameSpace) + ", " +
             within(typeName(*member.owner, nameSpace), nameOf(member, Derived::elementTag)) + ">";
    case MemberKind::pointer:
      return std::string("Pelmo::Ptr<") + (member.constTarget ? "const " : "") +
             typeName(*member.type.type, nameSpace) + ">";
    case MemberKind::own:
    case MemberKind::reference:
    case MemberKind::map:
    case MemberKind::set:
      return "Frame::Map<" + nameOf(member, Derived::node) + ">";
    default:
      return cppType(member.type, nameSpace);
  }
}

std::string ownStorageType(const Member& member, const std::string& nameSpace) {
  if (member.kind != MemberKind::list) return storageType(member, nameSpace);
  return "Pelmo::BasicVector<" + cppType(member.type, nameSpace) + ", " +
         nameOf(member, Derived::elementTag) + ">";
}

bool passedByValue(const TypeUse& use) {
  if (use.optional || use.type->isEnumeration()) return true;
  if (use.type->isBuiltIn()) return !use.type->is(ScalarForm::text);
  constexpr uint64_t registerBytes = 8;
  return use.type->encodedSize && *use.type->encodedSize <= registerBytes;
}

std::string parameterType(const TypeUse& use, const std::string& nameSpace) {
  const std::string type = cppType(use, nameSpace);
  return passedByValue(use) ? type : "const " + type + "&";
}

std::string initialValue(const Member& member, const std::string& nameSpace) {
  const Default& initial = member.initial;
  const Type& type = *member.type.type;
  const std::string name = typeName(type, nameSpace);
  if (initial.origin && initial.origin->isConstant()) {
    std::string constant =
        within(typeName(*initial.origin->owner, nameSpace), initial.origin->name);
    if (initial.origin->type == member.type) return constant;
    return name + "(" + constant + ")";
  }
  switch (initial.kind) {
    case Default::Kind::implicit:
      if (member.type.optional) return {};
      if (type.scalar) return implicitValue(*type.scalar);
      if (type.isEnumeration()) {
        const Literal* zero = type.findLiteral(0);
        return zero ? within(name, zero->name) : "static_cast<" + name + ">(0)";
      }
      return {};
    case Default::Kind::number: {
      if (type.is(ScalarForm::real)) return initial.numberText() + ".0";
      const std::string number = unsignedText(initial.number);
      if (type.isInteger()) return number;
      if (type.isEnumeration()) return "static_cast<" + name + ">(" + number + ")";
      return name + "(" + number + ")";
    }
    case Default::Kind::real:
      return realText(initial.real);
    case Default::Kind::text:
      if (type.is(ScalarForm::text)) return initial.text.empty() ? "" : literal(initial.text);
      return name + "(" + literal(initial.text) + ")";
    case Default::Kind::boolean:
      if (type.is(ScalarForm::boolean)) return initial.boolean ? "true" : "false";
      return name + (initial.boolean ? "(true)" : "(false)");
    case Default::Kind::absent:
      return {};
    case Default::Kind::enumerator:
      return within(name, initial.literal->name);
  }
  return {};
}

std::string unsignedText(uint64_t number) {
  return std::to_string(number) + (number > uint64_t{INT64_MAX} ? "u" : "");
}

std::string boundExpression(const Bound& bound) {
  return bound.constant ? bound.constant->name : unsignedText(bound.value);
}

std::string rangeCall(const Member& member, const std::string& function,
                      const std::string& arguments) {
  return function + "<" + boundExpression(member.range->low) + ", " +
         boundExpression(member.range->high) + ">(" + arguments + ", " +
         nameOf(member, Derived::rangeMessage) + ");";
}

std::string rangeMessage(const Member& member) {
  const std::string name = within(*member.owner, member.name);
  if (!member.range) {
    return name + " < 0 or > " + std::to_string(member.type.type->maxNumber()) + " not allowed";
  }
  const auto bound = [&](const Bound& b) {
    return b.constant ? within(*b.constant->owner, b.constant->name) : b.spelling;
  };
  return name + " < " + bound(member.range->low) + " or > " + bound(member.range->high) +
         " not allowed";
}

std::string headerPath(const Module& module) { return folderOf(module) + "/" + headerName(module); }
std::string placeName(const Module& module) { return folderOf(module) + "/" + module.name; }

std::string wireForm(const Member& member) {
  return member.wire32 ? ", Tovo::Wire::u32" : std::string();
}

std::string logForm(const Member& member, const std::string& nameSpace) {
  return "Tovo::LogForm<" + storageType(member, nameSpace) + wireForm(member) + ">";
}

bool ownsFlow(const Type& entity) { return !entity.base || !entity.stored().empty(); }

std::vector<std::string> constructorParameters(const Type& entity, const std::string& nameSpace) {
  std::vector<std::string> parameters;
  if (const Member* key = entity.keyMember()) {
    parameters.push_back(parameterType(key->type, nameSpace) + " " + key->name);
  } else {
    parameters.push_back("const Pelmo::String& " + keyName(nullptr));
  }
  for (const Member* parameter : entity.parameters()) {
    parameters.push_back(parameterType(parameter->type, nameSpace) + " " + parameter->name);
  }
  return parameters;
}

std::vector<std::string> constructorArguments(const Type& entity) {
  std::vector<std::string> arguments;
  arguments.push_back(keyName(entity.keyMember()));
  for (const Member* parameter : entity.parameters()) arguments.push_back(parameter->name);
  return arguments;
}

size_t alternativeIndex(const Member& member) {
  const std::vector<const Member*> alternatives = member.owner->stored();
  const auto at = std::find(alternatives.begin(), alternatives.end(), &member);
  return static_cast<size_t>(at - alternatives.begin());
}

std::string summary(const Member& member) {
  std::vector<std::string> parts = {"Id " + std::to_string(member.id)};
  const std::string width = member.unit.empty() ? widthText(member.type) : "in " + member.unit;
  if (!width.empty()) parts.push_back(width);
  if (member.range) {
    parts.push_back(std::to_string(member.range->low.value) + " to " +
                    std::to_string(member.range->high.value));
  }
  std::string start = member.initial.spelling;
  if (member.initial.kind == Default::Kind::implicit && !member.initial.origin) {
    start = implicitText(member.type);
  } else if (member.initial.kind == Default::Kind::number) {
    start = member.initial.numberText();
  } else if (member.initial.kind == Default::Kind::boolean) {
    start = member.initial.boolean ? "true" : "false";
  } else if (member.initial.kind == Default::Kind::enumerator) {
    start = member.initial.literal->name;
  }
  const Member* origin = member.initial.origin;
  if (origin && start != origin->name) start += " (" + origin->name + ")";
  const bool starts = member.kind == MemberKind::field || member.kind == MemberKind::counter ||
                      member.kind == MemberKind::attribute;
  if (starts && !start.empty()) parts.push_back("initially " + start);
  return words::joined(parts) + ".";
}

std::string documentation(const Member& member, const std::string& more) {
  std::string text = member.doc + (member.doc.empty() ? "" : " ") + summary(member);
  if (!more.empty()) text += " " + more;
  return text;
}

}  // namespace tdc
