#include "tdc/lock/Lock.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

#include "tdc/model/Numbers.h"

namespace tdc {

namespace {

const char* kindName(const Type& type) {
  switch (type.kind) {
    case TypeKind::enumeration:
      return type.width == 1 ? "enum:u8" : "enum:i32";
    case TypeKind::unionType:
      return "union";
    case TypeKind::entity:
      return "entity";
    default:
      return "value";
  }
}

/// A text as one column.
std::string escaped(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte <= ' ' || byte >= 0x7F) {
      char code[5];
      std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(byte));
      out += code;
    } else {
      out += c;
    }
  }
  return out + '"';
}

/// "-" where it is what the type itself starts from.
std::string valueOf(const Member& member) {
  const Default& value = member.initial;
  switch (value.kind) {
    case Default::Kind::implicit:
      return member.type.optional ? "none" : "-";
    case Default::Kind::number:
      return value.numberText();
    case Default::Kind::real:
      return plainText(value.real);
    case Default::Kind::text:
      return value.text.empty() ? "-" : escaped(value.text);
    case Default::Kind::boolean:
      return value.boolean ? "true" : "false";
    case Default::Kind::absent:
      return "none";
    case Default::Kind::enumerator:
      return value.literal->name;
  }
  return "-";
}

/// With the name of the constant or attribute that it is.
std::string named(const Member* origin, const std::string& value) {
  return origin == nullptr ? value : origin->name + "=" + value;
}

std::string wireType(const Member& member) {
  std::string text = member.type.type->qualifiedName;
  if (member.type.optional) {
    text = "optional:" + text;
  }
  if (member.wire32) {
    text += ":u32";
  }
  if (member.kind == MemberKind::bits) {
    text += ":" + member.field->name + "[" + std::to_string(member.lowBit) + ".." +
            std::to_string(member.highBit) + "]";
  }
  if (member.kind == MemberKind::own && !member.parameters.empty()) {
    std::string parameters;
    for (const Member* parameter : member.parameters) {
      parameters += (parameters.empty() ? "(" : ",") + parameter->name;
    }
    text += parameters + ")";
  }
  return member.key == nullptr ? text : member.key->qualifiedName + "->" + text;
}

std::string boundOf(const Bound& bound) {
  return named(bound.constant, std::to_string(bound.value));
}

/// The words that hold, between commas; "-" where none does.
std::string marks(std::initializer_list<std::pair<bool, const char*>> words) {
  std::string text;
  for (const auto& [holds, word] : words) {
    if (holds) {
      text += (text.empty() ? "" : ",") + std::string(word);
    }
  }
  return text.empty() ? "-" : text;
}

void writeType(std::string& out, const Module& module, const Type& type) {
  out += module.name + " " + std::to_string(type.index) + " " + type.qualifiedName + " " +
         kindName(type) + " " + (type.encodedSize ? std::to_string(*type.encodedSize) : "-") + " " +
         marks({{type.hashable, type.identityHash ? "identityhash" : "hash"},
                {type.order != Order::none, "order"},
                {type.noArguments, "noargs"},
                {type.factory, "factory"}}) +
         " " + (type.base != nullptr ? type.base->qualifiedName : "-") + "\n";
  std::string prefix = module.name + " " + type.qualifiedName + " ";
  for (const Literal& literal : type.literals) {
    out += prefix + std::to_string(literal.number) + " " + literal.name + "\n";
  }
  for (const Member& member : type.members) {
    out += prefix + std::to_string(member.id) + " " + member.name + " " + keyword(member.kind) +
           " " + wireType(member) + " " + named(member.initial.origin, valueOf(member)) + " " +
           (member.range ? boundOf(member.range->low) + ".." + boundOf(member.range->high) : "-") +
           " " +
           marks({{member.readonly, "readonly"},
                  {member.fixed, "fixed"},
                  {member.constTarget, "const"},
                  {member.nocompare, "nocompare"}}) +
           " " + (member.unit.empty() ? "-" : escaped(member.unit)) + "\n";
  }
}

constexpr std::string_view formLine =
    "# Id list, form 2, by tdc --lock: every line is part of what peers must agree on.";

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    result.push_back(std::move(line));
  }
  return result;
}

}  // namespace

std::string lockText(std::vector<const Module*> modules) {
  std::stable_sort(modules.begin(), modules.end(),
                   [](const Module* a, const Module* b) { return a->order < b->order; });
  modules.erase(std::unique(modules.begin(), modules.end()), modules.end());
  std::string out = std::string(formLine) + "\n";
  for (const Module* module : modules) {
    out += module->name + " record " + module->record + "\n";
    for (const Type* type : module->types) {
      writeType(out, *module, *type);
    }
  }
  return out;
}

bool isOfThisForm(const std::string& text) {
  return text.empty() || text.starts_with(std::string(formLine) + "\n");
}

std::string difference(const std::string& oldText, const std::string& newText) {
  if (oldText == newText) {
    return "";
  }
  const std::vector<std::string> oldLines = lines(oldText);
  const std::vector<std::string> newLines = lines(newText);
  const std::set<std::string> inOld(oldLines.begin(), oldLines.end());
  const std::set<std::string> inNew(newLines.begin(), newLines.end());
  std::string out;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < oldLines.size() || j < newLines.size()) {
    const bool hasOld = i < oldLines.size();
    const bool hasNew = j < newLines.size();
    if (hasOld && hasNew && oldLines[i] == newLines[j]) {
      ++i;
      ++j;
      continue;
    }
    // Lines that stand in both texts, at different places, go together.
    const bool gone = hasOld && inNew.count(oldLines[i]) == 0;
    const bool come = hasNew && inOld.count(newLines[j]) == 0;
    if (hasOld && (gone || !come)) {
      out += "-" + oldLines[i++] + "\n";
    }
    if (hasNew && !gone) {
      out += "+" + newLines[j++] + "\n";
    }
  }
  return out.empty() ? "-(other line ends)\n" : out;
}

}  // namespace tdc
