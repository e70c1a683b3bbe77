#include "stptool/model/Explain.h"

#include "Tovo/Inspect.h"
#include "stptool/model/ValueShape.h"
#include "stptool/text/Suggest.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

// Of what a person typed, as much as a person reads.
std::string shortened(std::string_view value) {
  constexpr size_t most = 200;
  if (value.size() <= most) return std::string(value);
  std::string text(value.substr(0, most));
  return text.append("... (").append(std::to_string(value.size())).append(" bytes)");
}

std::vector<std::string> literalNames(Tovo::TovoTypeBase enumeration) {
  const Tovo::TypeDescriptor& descriptor = Tovo::typeDescriptor(enumeration);
  std::vector<std::string> names;
  for (uint32_t i = 0; i < descriptor.literalCount; ++i) {
    names.emplace_back(descriptor.literals[i].name);
  }
  return names;
}

}  // namespace

std::string allowedText(Tovo::Attribute attribute) {
  using Tovo::AttributeDescriptor;
  if (attribute.has(AttributeDescriptor::ranged)) return Tovo::rangeText(attribute);
  const Tovo::TovoTypeBase type = attribute.type();
  std::string text;
  if (attribute.kind() == Tovo::AttributeKind::pointer) {
    text = "None or the path of a " + std::string(attribute.typeName());
  } else if (attribute.kind() == Tovo::AttributeKind::refCollection) {
    text = "the path of a " + std::string(attribute.typeName());
  } else if (!type) {
    const Tovo::PrimitiveType& primitive = Tovo::primitiveType(attribute.descriptor().type);
    switch (primitive.form) {
      case Tovo::PrimitiveForm::integer:
        text = "0 to " + std::to_string(primitive.highest);
        break;
      case Tovo::PrimitiveForm::boolean:
        text = "true or false";
        break;
      case Tovo::PrimitiveForm::seconds:
        return "a number of seconds";
      case Tovo::PrimitiveForm::text:
      case Tovo::PrimitiveForm::none:
        return "any text";
    }
    const char* unit = attribute.detail().unit;
    if (unit) text.append(" ").append(unit);
  } else if (Tovo::typeDescriptor(type).kind == Tovo::TypeKind::enumeration) {
    text = "one of " + words::joined(literalNames(type));
  } else if (const Tovo::Attribute field = onlyField(type)) {
    text = allowedText(field);
  } else {
    text = "a " + std::string(attribute.typeName());
    const std::string example = Tovo::defaultText(attribute);
    if (!example.empty()) text += " such as " + example;
    return text;
  }
  if (attribute.has(AttributeDescriptor::list)) text = "a list [a, b] of " + text;
  if (attribute.has(AttributeDescriptor::optional)) text += ", or None";
  return text;
}

std::string reasonOf(Tovo::Attribute attribute, const Tovo::RangeException& error) {
  const bool isText = dynamic_cast<const Tovo::ParseException*>(&error) != nullptr;
  if (!isText && attribute.has(Tovo::AttributeDescriptor::ranged)) return {};
  return error.field() == attribute.name() ? error.message() : std::string(error.what());
}

Failure refusal(const std::string& path, Tovo::Attribute attribute, std::string_view value,
                const std::string& reason) {
  const char* unit = attribute.detail().unit;
  FailureFields fields{.path = path,
                       .attribute = attribute.name(),
                       .value = std::string(value),
                       .allowed = allowedText(attribute),
                       .unit = unit ? unit : "",
                       .initial = attribute.isCollection() ? "" : Tovo::defaultText(attribute)};
  std::string text = path + ": " + attribute.name() + ": '" + shortened(value) + "' is refused";
  if (!reason.empty()) text += ": " + reason;
  // Enumerations say it themselves.
  if (reason.find("allowed are") == std::string::npos) text += "; allowed: " + fields.allowed;
  // A record's default is its example already.
  if (!fields.initial.empty() && !fields.allowed.ends_with(fields.initial)) {
    text += "; default: " + fields.initial;
  }
  const Tovo::TovoTypeBase type = attribute.type();
  if (type && Tovo::typeDescriptor(type).kind == Tovo::TypeKind::enumeration) {
    fields.suggestion = nearest(value, literalNames(type));
    text += words::didYouMean(fields.suggestion);
  }
  return Failure(text, std::move(fields));
}

Failure unknownAttribute(const std::string& path, Tovo::TovoTypeBase type, std::string_view name) {
  return Failure(path + ": " + unknownAttributeText(type, name),
                 {.path = path,
                  .attribute = std::string(name),
                  .suggestion = nearest(name, attributeNames(type))});
}

std::vector<std::string> attributeNames(Tovo::TovoTypeBase type, bool withConstants) {
  std::vector<std::string> names;
  Tovo::forEachAttribute(type, [&](Tovo::Attribute attribute) {
    if (withConstants || attribute.kind() != Tovo::AttributeKind::constant) {
      names.emplace_back(attribute.name());
    }
  });
  return names;
}

std::string unknownAttributeText(Tovo::TovoTypeBase type, std::string_view name) {
  const std::vector<std::string> names = attributeNames(type);
  std::string text = std::string(Tovo::typeName(type)) + " has no '" + std::string(name) + "'";
  const std::string hint = suggestion(name, names);
  if (!hint.empty()) return text + hint;
  return names.empty() ? text : text + "; it has " + words::joined(names);
}

Failure withSuggestion(const Tovo::PathException& error) {
  const std::string meant = nearest(error.wanted(), error.known());
  return Failure(error.what() + words::didYouMean(meant),
                 {.value = error.wanted(), .suggestion = meant});
}

std::string firstSentence(const char* doc) {
  if (!doc) return {};
  const std::string_view text(doc);
  size_t end = 0;
  // A point ends a sentence when no small letter follows: those of "802.1Q" and "e.g. this" do not.
  for (;; ++end) {
    end = text.find(". ", end);
    if (end == std::string_view::npos) return std::string(text);
    const char next = end + 2 < text.size() ? text[end + 2] : 'A';
    if (next < 'a' || next > 'z') return std::string(text.substr(0, end + 1));
  }
}

}  // namespace stptool
