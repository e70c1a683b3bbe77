#include "tdc/model/Resolver.h"

#include <algorithm>
#include <map>
#include <set>

#include "tdc/model/DefinitionOrder.h"
#include "tdc/model/NameCheck.h"
#include "tdc/model/Values.h"

namespace tdc {

namespace {

constexpr unsigned firstValueId = 2;
constexpr unsigned firstBitsId = 258;
constexpr unsigned firstEntityId = 258;
/// Ids from one level of derivation to the next.
constexpr unsigned idsPerLevel = 128;
constexpr unsigned maxDepth = 250;
constexpr size_t maxTypes = 4096;
/// Past this many errors a suggestion costs more than it helps.
constexpr size_t maxSuggestions = 200;

std::string textOf(const Span& span) {
  return std::string(span.file->text().substr(span.begin, span.end - span.begin));
}

std::string count(unsigned bits) { return std::to_string(bits) + (bits == 1 ? " bit" : " bits"); }

class Resolver {
 public:
  Resolver(const syntax::File& file, Module& module, Diagnostics& diagnostics)
      : file_(file), module_(module), diagnostics_(diagnostics) {}

  void run() {
    declareTypes();
    if (tooManyTypes_) return;
    resolveBases();
    for (Declared& declared : declared_) declareMembers(declared);
    forEachMember([this](Type& type, Member& member, const syntax::Member& tree) {
      resolveType(type, member, tree);
    });
    forEachMember([this](Type& type, Member& member, const syntax::Member& tree) {
      resolveReferences(type, member, tree);
    });
    for (const Declared& declared : declared_) checkType(declared);
    size_t errorsBefore = diagnostics_.size();
    module_.definitions = definitionOrder(module_, diagnostics_);
    if (diagnostics_.size() == errorsBefore) {  // what holds itself has no value and no size
      resolveValues();
      setEncodedSizes();
    }
    checkNames(file_, module_, diagnostics_);
  }

 private:
  struct Declared {
    Type* type = nullptr;
    const syntax::Type* tree = nullptr;
    std::vector<const syntax::Member*> memberTrees;
  };

  void error(Span where, std::string text) { diagnostics_.error(where, std::move(text)); }
  void note(Span where, std::string text) {
    if (where.file) diagnostics_.note(where, std::move(text));
  }

  template <class Function>
  void forEachMember(Function function) {
    for (Declared& declared : declared_) {
      for (size_t i = 0; i < declared.type->members.size(); ++i) {
        function(*declared.type, declared.type->members[i], *declared.memberTrees[i]);
      }
    }
  }

  // Declaration.

  void declareTypes() {
    for (const Module* module : module_.reachable) {
      for (const std::unique_ptr<Type>& type : module->owned) declareName(*type, module_.span);
    }
    std::string nameSpace;
    for (const auto& declaration : file_.declarations) {
      if (const auto* change = std::get_if<syntax::Namespace>(&declaration)) {
        nameSpace = change->name.text;
        continue;
      }
      const auto& tree = std::get<syntax::Type>(declaration);
      if (nameSpace.empty()) {
        error(tree.name.span, "type " + inQuotes(tree.name.text) +
                                  " stands in no namespace; write 'namespace NAME;' above it");
      }
      if (module_.owned.size() >= maxTypes) {
        error(tree.name.span, "a module has at most " + std::to_string(maxTypes) + " types");
        tooManyTypes_ = true;
        return;
      }
      declareType(tree, nameSpace);
    }
    if (module_.types.empty()) {
      error(module_.span, "module " + inQuotes(module_.name) + " declares no type");
    }
  }

  Type& newType(const syntax::Word& name, const std::string& nameSpace, const Type* enclosing) {
    module_.owned.push_back(std::make_unique<Type>());
    Type& type = *module_.owned.back();
    type.name = name.text;
    type.nameSpace = nameSpace;
    std::string outer = enclosing ? enclosing->qualifiedName : nameSpace;
    type.qualifiedName = outer.empty() ? name.text : outer + "::" + name.text;
    type.module = &module_;
    type.enclosing = enclosing;
    type.span = name.span;
    if (builtIn(name.text)) {
      error(name.span, inQuotes(name.text) + " is a built-in type; choose another name");
    }
    declareName(type, name.span);
    return type;
  }

  void declareName(const Type& type, Span where) {
    auto [known, added] = byName_.emplace(type.qualifiedName, &type);
    if (!added) {
      error(where, "type " + inQuotes(type.qualifiedName) + " is declared twice; rename one");
      note(known->second->span, "it is declared here as well");
      if (where.begin != type.span.begin) note(type.span, "and here");
    }
  }

  void addIndex(Type& type) {
    type.index = static_cast<int>(module_.types.size());
    module_.types.push_back(&type);
  }

  void declareType(const syntax::Type& tree, const std::string& nameSpace) {
    Type& type = newType(tree.name, nameSpace, nullptr);
    type.doc = documentation(tree);
    module_.declarations.push_back(&type);
    switch (tree.kind) {
      case syntax::TypeKind::enumeration:
        addIndex(type);
        declareLiterals(type, tree.enumeration);
        return;
      case syntax::TypeKind::value:
        type.kind = TypeKind::value;
        break;
      case syntax::TypeKind::unionType:
        type.kind = TypeKind::unionType;
        break;
      case syntax::TypeKind::entity:
        type.kind = TypeKind::entity;
        break;
      case syntax::TypeKind::scope:
        type.kind = TypeKind::scope;
        break;
    }
    if (type.kind != TypeKind::scope) addIndex(type);
    type.hashable = tree.hash.has_value();
    type.identityHash = tree.identity.has_value();
    if (tree.order) {
      type.order = tree.order->text == "declared" ? Order::declared : Order::reflected;
    }
    type.noArguments = tree.noArguments.has_value();
    type.handParse = tree.handParse.has_value();
    type.handOrder = tree.handOrder.has_value();
    type.factory = tree.factory.has_value();
    type.revalidates = tree.revalidates.has_value();

    Declared declared{&type, &tree, {}};
    for (const syntax::Entry& entry : tree.entries) {
      if (const auto* enumeration = std::get_if<syntax::Enumeration>(&entry)) {
        if (module_.owned.size() > maxTypes) {
          continue;  // reported with the next type
        }
        Type& nested = newType(enumeration->name, nameSpace, &type);
        nested.doc = documentation(*enumeration);
        addIndex(nested);
        declareLiterals(nested, *enumeration);
        type.nested.push_back(&nested);
      } else {
        declared.memberTrees.push_back(&std::get<syntax::Member>(entry));
      }
    }
    declared_.push_back(std::move(declared));
  }

  void declareLiterals(Type& type, const syntax::Enumeration& tree) {
    type.kind = TypeKind::enumeration;
    type.hashable = true;
    type.order = Order::declared;
    bool narrow = tree.width.text == "u8";
    type.width = narrow ? 1 : 4;
    if (tree.literals.empty()) {
      error(tree.name.span, "enumeration " + inQuotes(tree.name.text) + " has no literals");
    }
    std::map<std::string, Span> names;
    std::map<int64_t, const syntax::Literal*> numbers;
    uint64_t most = narrow ? 0xFF : 0x7FFFFFFF;
    uint64_t least = narrow ? 0 : 0x80000000;
    for (const syntax::Literal& literal : tree.literals) {
      if (literal.number.value > (literal.negative ? least : most)) {
        error(literal.number.span, std::string(literal.negative ? "-" : "") +
                                       literal.number.spelling + " does not fit " +
                                       tree.width.text + "; allowed is " +
                                       (narrow ? "0 to 255" : "-2147483648 to 2147483647"));
        continue;
      }
      auto number = static_cast<int64_t>(literal.number.value);
      number = literal.negative ? -number : number;
      auto [name, newName] = names.emplace(literal.name.text, literal.name.span);
      if (!newName) {
        error(literal.name.span, "literal " + inQuotes(literal.name.text) + " stands twice in " +
                                     inQuotes(type.name) + "; rename one");
        note(name->second, "it stands here as well");
      }
      auto [other, newNumber] = numbers.emplace(number, &literal);
      if (!newNumber) {
        error(literal.number.span, "number " + std::to_string(number) + " stands twice in " +
                                       inQuotes(type.name) + "; a number has one literal");
        note(other->second->number.span, "it belongs to " + inQuotes(other->second->name.text));
      }
      type.literals.push_back({literal.name.text, number, documentation(literal)});
    }
  }

  // Names.

  /// `Stp::Input::Config` gives itself, then what is left without the last part, then nothing.
  static std::vector<std::string> outwards(std::string name) {
    std::vector<std::string> scopes;
    while (!name.empty()) {
      scopes.push_back(name);
      size_t colons = name.rfind("::");
      name.resize(colons == std::string::npos ? 0 : colons);
    }
    scopes.emplace_back();
    return scopes;
  }

  const Type* named(const std::string& qualifiedName) const {
    auto found = byName_.find(qualifiedName);
    return found == byName_.end() ? nullptr : found->second;
  }

  /// Null where there is no such type, which is reported.
  const Type* lookUp(const syntax::Word& name, const Type& user) {
    if (const Type* type = builtIn(name.text)) return type;
    for (const Type* type = &user; type; type = type->base) {
      if (const Type* found = named(type->qualifiedName + "::" + name.text)) return found;
    }
    for (const std::string& scope : outwards(user.nameSpace)) {
      if (const Type* found = named(scope.empty() ? name.text : scope + "::" + name.text)) {
        return found;
      }
    }
    std::string suggestion;
    if (diagnostics_.size() < maxSuggestions) {
      std::vector<std::string> names = {"u8", "u16", "u32", "bool", "String", "Seconds"};
      std::string sameName;
      for (const auto& [qualifiedName, type] : byName_) {
        names.push_back(qualifiedName);
        bool near = type->nameSpace == user.nameSpace && !type->enclosing;
        near = near || type->enclosing == &user;
        if (near) {
          names.push_back(type->name);
        } else if (type->name == name.text) {
          sameName = qualifiedName;
        }
      }
      suggestion = sameName.empty() ? didYouMean(name.text, names)
                                    : "; did you mean " + inQuotes(sameName) + "?";
    }
    error(name.span, "there is no type " + inQuotes(name.text) +
                         (suggestion.empty() ? "; declare it, or import its module" : suggestion));
    return nullptr;
  }

  // Bases.

  void resolveBases() {
    for (Declared& declared : declared_) {
      if (!declared.tree->base) continue;
      const Type* base = lookUp(*declared.tree->base, *declared.type);
      if (base && !base->isEntity()) {
        error(declared.tree->base->span,
              inQuotes(base->name) + " is no entity and cannot be a base");
        note(base->span, "it is declared here");
        base = nullptr;
      }
      pendingBase_[declared.type] = base;
    }
    for (Declared& declared : declared_) setBase(*declared.type, declared);
    std::stable_sort(declared_.begin(), declared_.end(), [](const Declared& a, const Declared& b) {
      return a.type->depth < b.type->depth;
    });
  }

  void setBase(Type& type, const Declared& declared) {
    std::set<const Type*> seen = {&type};
    unsigned depth = 0;
    const Type* at = &type;
    for (;;) {
      auto pending = pendingBase_.find(at);
      const Type* next = pending != pendingBase_.end() ? pending->second : at->base;
      if (!next) break;
      if (next == &type) {
        error(declared.tree->base->span,
              "entity " + inQuotes(type.name) + " derives from itself; take this base away");
        pendingBase_[&type] = nullptr;
        type.base = nullptr;
        return;
      }
      if (!seen.insert(next).second) {
        return;  // reported for the types in the cycle
      }
      ++depth;
      at = next;
    }
    if (depth > maxDepth) {
      error(declared.tree->base->span,
            "an entity has at most " + std::to_string(maxDepth) + " bases");
      pendingBase_[&type] = nullptr;
      return;
    }
    auto pending = pendingBase_.find(&type);
    type.base = pending == pendingBase_.end() ? nullptr : pending->second;
    type.depth = depth;
  }

  // Members.

  void declareMembers(Declared& declared) {
    Type& type = *declared.type;
    type.members.reserve(declared.memberTrees.size());
    for (const syntax::Member* tree : declared.memberTrees) {
      Member member;
      member.kind = tree->kind;
      member.id = static_cast<unsigned>(std::min<uint64_t>(tree->id.value, 0xFFFFFFFF));
      member.name = tree->name.text;
      member.doc = documentation(*tree);
      member.owner = &type;
      member.unit = tree->unitText;
      member.fixed = tree->fixed.has_value();
      member.readonly = tree->readonly.has_value();
      member.wire32 = tree->wire32.has_value();
      member.nocompare = tree->nocompare.has_value();
      member.constTarget = tree->constTarget;
      member.span = tree->name.span;
      member.idSpan = tree->id.span;
      type.members.push_back(std::move(member));
    }
    if (!declared.tree->base || type.base) checkIds(type);
  }

  void checkIds(const Type& type) {
    bool entity = type.isEntity();
    unsigned first = entity ? firstEntityId + idsPerLevel * type.depth : firstValueId;
    checkSequence(type, first, entity ? first + idsPerLevel : firstBitsId, false);
    checkSequence(type, firstBitsId, 0x8000, true);
  }

  /// The members' ids, either those of the bits or all others, from `first` to below `end`.
  void checkSequence(const Type& type, unsigned first, unsigned end, bool bits) {
    uint64_t next = first;
    const Member* previous = nullptr;
    bool afterError = false;
    for (const Member& member : type.members) {
      if ((member.kind == MemberKind::bits) != bits) continue;
      // Behind an error, either numbering is taken as meant, so that one slip is one error.
      bool follows = member.id == next || (afterError && member.id == next + 1);
      if (!follows) {
        error(member.idSpan, "id " + textOf(member.idSpan) +
                                 " is out of sequence; the next id of " +
                                 (bits ? "the bits of " : "") + inQuotes(type.name) + " is " +
                                 std::to_string(next));
        if (previous) {
          note(previous->idSpan,
               inQuotes(previous->name) + " has id " + std::to_string(previous->id));
        }
        afterError = true;
        next = member.id > next && member.id < end ? member.id + 1 : next;
      } else {
        if (member.id >= end) {
          error(member.idSpan, inQuotes(type.name) + " has no room for " + inQuotes(member.name) +
                                   "; its ids end at " + std::to_string(end - 1));
          return;
        }
        next = member.id + 1;
        afterError = false;
      }
      previous = &member;
    }
  }

  // Types of members.

  const Type* elementType(const Type& owner, const syntax::Member& tree, TypeKind wanted) {
    const Type* type = lookUp(tree.type.name, owner);
    if (type && type->kind != wanted) {
      bool entity = wanted == TypeKind::entity;
      error(tree.type.span, inQuotes(tree.type.name.text) + " is no " +
                                (entity ? "entity" : "value") + "; " +
                                inQuotes(keyword(tree.kind)) + " takes " +
                                (entity ? "an entity" : "a value with a key field"));
      note(type->span, "it is declared here");
      return nullptr;
    }
    return type;
  }

  /// A type that can be held by value.
  TypeUse storedType(const Type& owner, const syntax::TypeUse& tree, MemberKind kind) {
    const Type* type = lookUp(tree.name, owner);
    if (!type) return {};
    if (type->isEntity()) {
      error(tree.span, inQuotes(tree.name.text) +
                           " is an entity, which is never held by value; use 'ptr', 'own' or "
                           "'ref' in an entity");
      return {};
    }
    if (type->kind == TypeKind::scope) {
      error(tree.span,
            inQuotes(tree.name.text) + " is a scope; name one of the enumerations in it");
      return {};
    }
    if (tree.optional && kind != MemberKind::field) {
      error(tree.span, "'optional' is for fields of a value only; take it away");
      return {};
    }
    bool oneByte = type->kind == TypeKind::boolean || (type->isEnumeration() && type->width == 1);
    if (tree.optional && !oneByte) {
      error(tree.span,
            "'optional' takes bool or a u8 enumeration, which have 255 free for "
            "absent; " +
                inQuotes(tree.name.text) + " is neither");
      return {};
    }
    if (tree.optional && type->findLiteral(255)) {
      error(tree.span, inQuotes(tree.name.text) + " cannot be optional: 255, its literal " +
                           inQuotes(type->findLiteral(255)->name) + ", stands for absent");
      return {};
    }
    return {type, tree.optional};
  }

  const Type* keyType(const Type& owner, const syntax::TypeUse& tree) {
    const Type* type = lookUp(tree.name, owner);
    if (!type) return nullptr;
    if (tree.optional || !type->isKey()) {
      reportNoKey(tree.span, tree.name.text, *type);
      return nullptr;
    }
    return type;
  }

  void reportNoKey(Span where, const std::string& name, const Type& type) {
    bool value = type.kind == TypeKind::value || type.kind == TypeKind::unionType ||
                 type.kind == TypeKind::externalValue;
    error(where, inQuotes(name) + " cannot be a key; keys are String, u16 or a hashable value" +
                     (value ? " (flag 'hash')" : ""));
    note(type.span, "it is declared here");
  }

  void resolveType(Type& type, Member& member, const syntax::Member& tree) {
    switch (member.kind) {
      case MemberKind::own:
      case MemberKind::reference:
      case MemberKind::pointer:
        member.type.type = elementType(type, tree, TypeKind::entity);
        break;
      case MemberKind::set:
        member.type.type = elementType(type, tree, TypeKind::value);
        break;
      case MemberKind::key:
        member.type.type = keyType(type, tree.type);
        break;
      default:
        member.type = storedType(type, tree.type, member.kind);
        break;
    }
    if (member.kind == MemberKind::reference || member.kind == MemberKind::map) {
      member.key = keyType(type, tree.keyType);
    }
    if (member.wire32 && member.type && !member.type.type->isEnumeration()) {
      error(tree.wire32->span,
            "'wire u32' is for enumerations only; " + inQuotes(tree.type.name.text) + " is none");
    }
  }

  // What members say about other members.

  void resolveReferences(Type& type, Member& member, const syntax::Member& tree) {
    switch (member.kind) {
      case MemberKind::bits:
        resolveBits(type, member, tree);
        break;
      case MemberKind::own:
        resolveOwn(member, tree);
        break;
      case MemberKind::set:
        resolveSet(member, tree);
        break;
      default:
        break;
    }
  }

  std::string suggest(const Type& type, const std::string& name) const {
    if (diagnostics_.size() >= maxSuggestions) return "";
    std::vector<std::string> names;
    for (const Type* at = &type; at; at = at->base) {
      for (const Member& member : at->members) names.push_back(member.name);
    }
    return didYouMean(name, names);
  }

  void resolveBits(const Type& type, Member& member, const syntax::Member& tree) {
    const Member* field = type.find(tree.field.text);
    if (!field) {
      error(tree.field.span, "there is no field " + inQuotes(tree.field.text) + " in " +
                                 inQuotes(type.name) + suggest(type, tree.field.text));
      return;
    }
    if (!field->type) return;
    if (field->kind != MemberKind::field || !field->type.type->isInteger()) {
      error(tree.field.span, inQuotes(tree.field.text) +
                                 " has no bits to view; name a field that is u8, u16 or u32");
      note(field->span, "it is declared here");
      return;
    }
    member.field = field;
    const syntax::Number& high = tree.highBit ? *tree.highBit : tree.lowBit;
    uint64_t width = *field->type.type->encodedSize * 8;
    if (tree.lowBit.value > high.value) {
      error(tree.lowBit.span + high.span, "the bits are reversed; write the lower one first");
      return;
    }
    if (high.value >= width) {
      error(high.span, "bit " + high.spelling + " is outside " + inQuotes(field->name) +
                           ", whose bits are 0 to " + std::to_string(width - 1));
      return;
    }
    member.lowBit = static_cast<unsigned>(tree.lowBit.value);
    member.highBit = static_cast<unsigned>(high.value);
    checkBitsType(member, tree);
  }

  void checkBitsType(const Member& member, const syntax::Member& tree) {
    if (!member.type) return;
    unsigned bits = member.highBit - member.lowBit + 1;
    const Type& type = *member.type.type;
    if (type.kind == TypeKind::boolean) {
      if (bits != 1) error(tree.type.span, "bool has one bit, and these are " + count(bits));
    } else if (type.isInteger()) {
      if (bits > *type.encodedSize * 8) {
        error(tree.type.span, count(bits) + " do not fit " + type.name + "; take a wider type");
      }
    } else if (type.kind == TypeKind::enumeration && type.width == 1) {
      for (const Literal& literal : type.literals) {
        if (bits < 8 && literal.number >= (1 << bits)) {
          error(tree.type.span, "literal " + inQuotes(literal.name) + " (" +
                                    std::to_string(literal.number) + ") of " + inQuotes(type.name) +
                                    " does not fit " + count(bits));
          note(type.span, "it is declared here");
          break;
        }
      }
    } else if (type.kind != TypeKind::externalEnumeration || type.width != 1) {
      error(tree.type.span, "bits are bool, u8, u16, u32 or a u8 enumeration");
    }
  }

  void resolveOwn(Member& member, const syntax::Member& tree) {
    if (!member.type) return;
    const Type& element = *member.type.type;
    member.keyMember = element.keyMember();
    std::string keyName = !member.keyMember ? "name" : member.keyMember->name;
    if (tree.keyName.text != keyName) {
      error(tree.keyName.span, "the key of " + inQuotes(element.name) + " is " + inQuotes(keyName) +
                                   ", not " + inQuotes(tree.keyName.text));
      note(!member.keyMember ? element.span : member.keyMember->span, "it is declared here");
    }
    member.key = !member.keyMember ? builtIn("String") : member.keyMember->type.type;
    member.parameters = element.parameters();
    std::string wanted;
    for (const Member* parameter : member.parameters) {
      wanted += (wanted.empty() ? "" : ", ") + parameter->name;
    }
    bool equal =
        std::equal(member.parameters.begin(), member.parameters.end(), tree.parameters.begin(),
                   tree.parameters.end(), [](const Member* declared, const syntax::Word& word) {
                     return declared->name == word.text;
                   });
    if (!equal) {
      Span where = tree.parameters.empty()
                       ? tree.type.span
                       : tree.parameters.front().span + tree.parameters.back().span;
      error(where, wanted.empty()
                       ? inQuotes(element.name) + " has no parameters; remove them and the brackets"
                       : "the parameters of " + inQuotes(element.name) + " are '(" + wanted +
                             ")'; write them behind its name");
      note(member.parameters.empty() ? element.span : member.parameters.front()->span,
           "they are declared here");
    }
  }

  void resolveSet(Member& member, const syntax::Member& tree) {
    if (!member.type) return;
    const Type& element = *member.type.type;
    const Member* field = element.find(tree.keyName.text);
    if (!field || field->kind != MemberKind::field) {
      error(tree.keyName.span, "there is no field " + inQuotes(tree.keyName.text) + " in " +
                                   inQuotes(element.name) + suggest(element, tree.keyName.text));
      note(element.span, "it is declared here");
      return;
    }
    if (!field->type) return;
    if (!field->type.type->isKey()) {
      reportNoKey(tree.keyName.span, field->name, *field->type.type);
      return;
    }
    member.keyMember = field;
    member.key = field->type.type;
  }

  // Whole types.

  void checkType(const Declared& declared) {
    const Type& type = *declared.type;
    const syntax::Type& tree = *declared.tree;
    switch (type.kind) {
      case TypeKind::entity:
        checkEntity(declared);
        break;
      case TypeKind::unionType:
        checkAlternatives(type);
        checkValueFlags(type, tree);
        break;
      case TypeKind::value:
        checkValueFlags(type, tree);
        break;
      default:
        break;
    }
  }

  void checkAlternatives(const Type& type) {
    const std::vector<const Member*> alternatives = type.stored();
    if (alternatives.empty()) {
      error(type.span, "union " + inQuotes(type.name) + " has no alternatives");
    }
    std::map<const Type*, const Member*> known;
    for (const Member* alternative : alternatives) {
      if (!alternative->type) continue;
      auto [other, added] = known.emplace(alternative->type.type, alternative);
      if (!added) {
        error(alternative->span, "alternatives of a union have different types, and " +
                                     inQuotes(other->second->name) + " holds " +
                                     inQuotes(alternative->type.type->name) +
                                     " already; wrap one of them in a value");
        note(other->second->span, "that is declared here");
      }
    }
  }

  void checkEntity(const Declared& declared) {
    const Type& type = *declared.type;
    const Member* key = nullptr;
    const Member* other = nullptr;
    for (const Member& member : type.members) {
      if (member.kind == MemberKind::key) {
        const Member* before = type.base ? type.base->keyMember() : nullptr;
        before = before ? before : key;
        if (before) {
          error(member.span, "an entity has one key; make this an 'attr' or a 'param'");
          note(before->span, "the key is declared here");
        } else if (type.base) {
          error(member.span, "a key is declared by the first base, which is named without one");
          note(type.base->span, "the base is declared here");
        } else if (&member != &type.members.front()) {
          error(member.span, "a key is the first member; move it up");
        }
        key = key ? key : &member;
      } else if (member.kind == MemberKind::parameter) {
        if (other) {
          error(member.span, "parameters stand before all other members; move it up");
          note(other->span, "this stands before it");
        }
      } else if (!other) {
        other = &member;
      }
    }
    if (type.revalidates && !type.base) {
      error(declared.tree->revalidates->span,
            "'revalidates' checks inherited ranges again, and there is no base; remove it");
    }
  }

  void checkValueFlags(const Type& type, const syntax::Type& tree) {
    if (type.identityHash && (!type.wrapped() || !type.underlying()->isInteger())) {
      error(tree.identity->span, "'identity' is for values of one number; remove it");
    }
    if (type.handOrder && type.order == Order::none) {
      error(tree.handOrder->span,
            "'hand order' writes an order by hand; declare one with 'order reflected' or 'order "
            "declared'");
    }
    for (const Member& member : type.members) {
      if (!member.isStored() || !member.type) continue;
      const Type& held = *member.type.type;
      if (type.hashable && !held.hashable) {
        error(tree.hash->span, inQuotes(type.name) + " cannot be hashed: " + inQuotes(member.name) +
                                   " holds " + inQuotes(held.name) + ", which is not hashable");
        note(member.span, "it is declared here");
      }
      if (type.order != Order::none && !type.handOrder && held.order == Order::none) {
        error(tree.order->span,
              inQuotes(type.name) + " cannot be ordered: " + inQuotes(member.name) + " holds " +
                  inQuotes(held.name) + ", which has no order; write it by hand ('hand order')");
        note(member.span, "it is declared here");
      }
      if (type.noArguments && member.fixed) {
        error(tree.noArguments->span, inQuotes(type.name) +
                                          " needs constructor arguments: " + inQuotes(member.name) +
                                          " is fixed; remove one of the two");
        note(member.span, "it is declared here");
      }
    }
  }

  // Values.

  void resolveValues() {
    Values values(diagnostics_);
    // Constants first: ranges and defaults name them before they stand.
    forEachMember([&](Type&, Member& member, const syntax::Member& tree) {
      if (member.isConstant()) values.resolve(member, tree);
    });
    forEachMember([&](Type&, Member& member, const syntax::Member& tree) {
      if (!member.isConstant()) values.resolve(member, tree);
    });
    forEachMember(
        [&](Type&, Member& member, const syntax::Member& tree) { values.check(member, tree); });
  }

  void setEncodedSizes() {
    for (const std::unique_ptr<Type>& type : module_.owned) {
      if (type->kind == TypeKind::enumeration) type->encodedSize = type->width;
    }
    std::map<const Type*, Type*> own;
    for (const std::unique_ptr<Type>& type : module_.owned) own[type.get()] = type.get();
    for (const Type* definition : module_.definitions) {
      Type& type = *own[definition];
      if (type.kind == TypeKind::value) {
        type.encodedSize = sizeOfValue(type);
      } else if (type.kind == TypeKind::unionType) {
        type.encodedSize = sizeOfUnion(type);
      }
    }
  }

  static std::optional<uint64_t> sizeOfValue(const Type& type) {
    uint64_t sum = 0;
    for (const Member* member : type.stored()) {
      bool fixed = member->type && !member->type.optional && member->kind != MemberKind::list &&
                   member->type.type->encodedSize;
      if (!fixed) return {};
      sum += member->wire32 ? 4 : *member->type.type->encodedSize;
    }
    return sum;
  }

  static std::optional<uint64_t> sizeOfUnion(const Type& type) {
    std::optional<uint64_t> common;
    for (const Member* member : type.stored()) {
      std::optional<uint64_t> size = member->type ? member->type.type->encodedSize : std::nullopt;
      if (!size || (common && *common != *size)) return {};
      common = size;
    }
    constexpr uint64_t tag = 1;
    return common ? std::optional(*common + tag) : std::nullopt;
  }

  const syntax::File& file_;
  Module& module_;
  Diagnostics& diagnostics_;
  std::vector<Declared> declared_;
  std::map<std::string, const Type*> byName_;
  std::map<const Type*, const Type*> pendingBase_;
  bool tooManyTypes_ = false;
};

}  // namespace

void resolve(const syntax::File& file, Module& module, Diagnostics& diagnostics) {
  Resolver(file, module, diagnostics).run();
}

}  // namespace tdc
