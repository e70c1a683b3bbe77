#include "tdc/model/Declarations.h"

#include <map>

#include "tdc/model/ClassNames.h"

namespace tdc {

namespace {

constexpr size_t maxTypes = 4096;

class Declarations {
 public:
  Declarations(const syntax::File& file, Module& module, TypeNames& names, Diagnostics& diagnostics)
      : file_(file), module_(module), names_(names), diagnostics_(diagnostics) {}

  std::optional<std::vector<Declared>> run() {
    declareTypes();
    if (tooManyTypes_) return {};
    return std::move(declared_);
  }

 private:
  void declareTypes() {
    for (const Module* module : module_.reachable) {
      for (const std::unique_ptr<Type>& type : module->owned) names_.declare(*type, module_.span);
    }
    std::string nameSpace;
    for (const auto& declaration : file_.declarations) {
      if (const auto* change = std::get_if<syntax::Namespace>(&declaration)) {
        nameSpace = change->name.text;
        continue;
      }
      const auto& tree = std::get<syntax::Type>(declaration);
      if (nameSpace.empty()) {
        diagnostics_.error(tree.name.span,
                           "type " + inQuotes(tree.name.text) +
                               " stands in no namespace; write 'namespace NAME;' above it");
      }
      if (module_.owned.size() >= maxTypes) {
        diagnostics_.error(tree.name.span,
                           "a module has at most " + std::to_string(maxTypes) + " types");
        tooManyTypes_ = true;
        return;
      }
      declareType(tree, nameSpace);
    }
    if (module_.types.empty()) {
      diagnostics_.error(module_.span, "module " + inQuotes(module_.name) + " declares no type");
    }
  }

  Type& newType(const syntax::Word& name, const std::string& nameSpace, const Type* enclosing) {
    module_.owned.push_back(std::make_unique<Type>());
    Type& type = *module_.owned.back();
    type.name = name.text;
    type.nameSpace = nameSpace;
    std::string outer = enclosing ? enclosing->qualifiedName : nameSpace;
    type.qualifiedName = within(outer, name.text);
    type.module = &module_;
    type.enclosing = enclosing;
    type.span = name.span;
    if (builtIn(name.text)) {
      diagnostics_.error(name.span,
                         inQuotes(name.text) + " is a built-in type; choose another name");
    }
    names_.declare(type, name.span);
    return type;
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
      diagnostics_.error(tree.name.span,
                         "enumeration " + inQuotes(tree.name.text) + " has no literals");
    }
    std::map<std::string, Span> names;
    std::map<int64_t, const syntax::Literal*> numbers;
    uint64_t most = narrow ? 0xFF : 0x7FFFFFFF;
    uint64_t least = narrow ? 0 : 0x80000000;
    for (const syntax::Literal& literal : tree.literals) {
      if (literal.number.value > (literal.negative ? least : most)) {
        diagnostics_.error(literal.number.span,
                           std::string(literal.negative ? "-" : "") + literal.number.spelling +
                               " does not fit " + tree.width.text + "; allowed is " +
                               (narrow ? "0 to 255" : "-2147483648 to 2147483647"));
        continue;
      }
      auto number = static_cast<int64_t>(literal.number.value);
      number = literal.negative ? -number : number;
      auto [name, newName] = names.emplace(literal.name.text, literal.name.span);
      if (!newName) {
        diagnostics_.error(literal.name.span, "literal " + inQuotes(literal.name.text) +
                                                  " stands twice in " + inQuotes(type.name) +
                                                  "; rename one");
        diagnostics_.note(name->second, "it stands here as well");
      }
      auto [other, newNumber] = numbers.emplace(number, &literal);
      if (!newNumber) {
        diagnostics_.error(literal.number.span, "number " + std::to_string(number) +
                                                    " stands twice in " + inQuotes(type.name) +
                                                    "; a number has one literal");
        diagnostics_.note(other->second->number.span,
                          "it belongs to " + inQuotes(other->second->name.text));
      }
      type.literals.push_back({literal.name.text, number, documentation(literal)});
    }
  }

  const syntax::File& file_;
  Module& module_;
  TypeNames& names_;
  Diagnostics& diagnostics_;
  std::vector<Declared> declared_;
  bool tooManyTypes_ = false;
};

}  // namespace

std::optional<std::vector<Declared>> declareTypes(const syntax::File& file, Module& module,
                                                  TypeNames& names, Diagnostics& diagnostics) {
  return Declarations(file, module, names, diagnostics).run();
}

}  // namespace tdc
