// What every type of the ten modules is, written down a second time beside the descriptions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ExpectedModel {

struct Literal {
  std::string name;
  int64_t number;
};

struct Member {
  unsigned id;
  std::string name;
  /// field, counter, list, const, bits, indexed, query, alt; param, key, attr, ptr, cptr, own, ref,
  /// map, set.
  std::string kind;
  std::string type;
  bool optional = false;
  std::string key;                  ///< key type of a collection
  std::optional<std::string> text;  ///< default or value as text; none: the type's own default
  std::string low;                  ///< bounds: constants of the type or numbers
  std::string high;
  bool readOnly = false;   ///< no set by reflection, though the kind would have one
  bool fixed = false;      ///< no typed setter either
  bool noCompare = false;  ///< an existing element is returned whatever its parameters are
};

struct Type {
  std::string module;
  int index = -1;    ///< -1: not stated
  std::string kind;  ///< enum, value, union, entity
  std::string name;
  std::string base;            ///< of a derived entity
  bool factory = false;        ///< an exported factory
  bool wide = false;           ///< an enumeration of 32 bits
  std::string bytes;           ///< a value's default in the log, in hexadecimal
  bool varies = false;         ///< the encoded size depends on the value
  std::string order;           ///< none, reflected (no operator), declared
  std::string hash;            ///< none, attr, identity
  unsigned argumentCount = 0;  ///< of construction from constructor arguments
  std::vector<Literal> literals;
  std::vector<Member> members;
};

struct Module {
  std::string name;
  std::string record;
  unsigned types;
};

/// In the order of registration.
const std::vector<Module>& modules();
const std::vector<Type>& types();
/// Fails the process for an unknown name.
const Type& type(const std::string& name);
/// Members of a type, those of its bases first.
std::vector<const Member*> allMembers(const Type& type);
/// Where a member is declared.
const Type& declaringType(const Type& type, const Member& member);
/// A bound as a number: a literal one or the value of the constant that it names.
uint64_t bound(const Type& type, const std::string& text);
/// "T::x < T::low or > T::high not allowed".
std::string rangeMessage(const Type& type, const Member& member);

}  // namespace ExpectedModel
