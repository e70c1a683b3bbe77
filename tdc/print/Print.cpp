#include "tdc/print/Print.h"

#include <algorithm>

namespace tdc {

namespace {

constexpr size_t maxLine = 100;

std::string padded(const std::string& text, size_t width) {
  return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::string slashes(const Comment& comment) {
  return (comment.documentation ? "///" : "//") + comment.text;
}

std::string written(const syntax::TypeUse& use) {
  return (use.optional ? "optional " : "") + use.name.text;
}

std::string written(const syntax::Literal& literal, size_t width) {
  return padded(literal.name.text, width) + " = " + (literal.negative ? "-" : "") +
         literal.number.spelling;
}

/// The columns that a block lines up.
struct Columns {
  size_t id = 0;
  size_t kind = 0;
  size_t name = 0;
};

std::string nameColumn(const syntax::Member& member) {
  return member.name.text + (member.kind == MemberKind::indexed ? "[u8]" : "");
}

Columns columnsOf(const syntax::Type& type) {
  Columns columns;
  for (const syntax::Entry& entry : type.entries) {
    if (const auto* member = std::get_if<syntax::Member>(&entry)) {
      columns.id = std::max(columns.id, member->id.spelling.size());
      columns.kind = std::max(columns.kind, std::string(keyword(member->kind)).size());
      columns.name = std::max(columns.name, nameColumn(*member).size());
    }
  }
  return columns;
}

class Printer {
 public:
  std::string run(const syntax::File& file) {
    const syntax::Module& module = file.module;
    item(module, "", false,
         "module " + module.name.text + " record " + module.record.text + " order " +
             module.order.spelling + ";");
    for (size_t i = 0; i < file.imports.size(); ++i) import(file.imports[i], i == 0);
    for (const auto& declaration : file.declarations) {
      if (const auto* nameSpace = std::get_if<syntax::Namespace>(&declaration)) {
        item(*nameSpace, "", true, "namespace " + nameSpace->name.text + ";");
      } else {
        type(std::get<syntax::Type>(declaration));
      }
    }
    comments(file.atEnd, "", true);
    return std::move(out_);
  }

 private:
  void line(const std::string& indent, const std::string& text) {
    out_ += text.empty() ? "\n" : indent + text + "\n";
    fresh_ = false;
  }

  void blankLine() {
    if (!fresh_ && !out_.empty()) out_ += '\n';
    fresh_ = true;
  }

  void comments(const std::vector<Comment>& comments, const std::string& indent, bool blank) {
    for (const Comment& comment : comments) {
      if (blank || comment.blankLineAbove) blankLine();
      blank = false;
      line(indent, slashes(comment));
    }
  }

  void above(const syntax::Item& item, const std::string& indent, bool blank) {
    comments(item.above, indent, blank);
    if (item.blankLineAbove || (blank && item.above.empty())) blankLine();
  }

  static std::string beside(const syntax::Item& item) {
    return item.beside ? "  " + slashes(*item.beside) : "";
  }

  void item(const syntax::Item& item, const std::string& indent, bool blank,
            const std::string& text) {
    above(item, indent, blank);
    line(indent, text + beside(item));
  }

  /// A blank line directly behind a brace says nothing.
  void openBlock(const std::string& indent, const std::string& text) {
    line(indent, text + " {");
    fresh_ = true;
  }

  void closeBlock(const std::string& indent, const std::vector<Comment>& atEnd,
                  const syntax::Item& item) {
    comments(atEnd, indent + "    ", false);
    line(indent, "}" + beside(item));
  }

  void import(const syntax::Import& import, bool first) {
    std::string head = "import " + import.name.text + " record " + import.record.text;
    if (!import.described) {
      item(import, "", first, head + ";");
      return;
    }
    above(import, "", first);
    openBlock("", head);
    for (const syntax::External& external : import.externals) {
      item(external, "    ", false,
           std::string(external.enumeration ? "enum " : "value ") + external.name.text + " bytes " +
               external.bytes.spelling + (external.hash ? " hash" : "") +
               (external.order ? " order" : "") + " in " + external.header.text + ";");
    }
    closeBlock("", import.atEnd, import);
  }

  void type(const syntax::Type& type) {
    if (type.kind == syntax::TypeKind::enumeration) {
      enumeration(type.enumeration, type, "", true);
      return;
    }
    above(type, "", true);
    std::string head = headOf(type);
    if (type.entries.empty() && type.atEnd.empty()) {
      line("", head + " {}" + beside(type));
      return;
    }
    openBlock("", head);
    Columns columns = columnsOf(type);
    for (const syntax::Entry& entry : type.entries) {
      if (const auto* enumeration = std::get_if<syntax::Enumeration>(&entry)) {
        this->enumeration(*enumeration, *enumeration, "    ", false);
      } else {
        const auto& member = std::get<syntax::Member>(entry);
        item(member, "    ", false, memberText(member, columns));
      }
    }
    closeBlock("", type.atEnd, type);
  }

  static std::string headOf(const syntax::Type& type) {
    std::string head(syntax::typeKeywords[static_cast<int>(type.kind)]);
    head += " " + type.name.text;
    head += type.base ? " : " + type.base->text : "";
    head += type.hash ? (type.identity ? " hash identity" : " hash") : "";
    head += type.order ? " order " + type.order->text : "";
    head += type.noArguments ? " noargs" : "";
    head += type.handParse ? " hand parse" : "";
    head += type.handOrder ? " hand order" : "";
    head += type.factory ? " factory" : "";
    head += type.revalidates ? " revalidates" : "";
    return head;
  }

  /// The comments are the item's.
  void enumeration(const syntax::Enumeration& tree, const syntax::Item& item,
                   const std::string& indent, bool blank) {
    above(item, indent, blank);
    std::string head = "enum " + tree.name.text + " : " + tree.width.text;
    bool commented = !tree.atEnd.empty();
    std::string oneLine = head + " {";
    size_t width = 0;
    for (const syntax::Literal& literal : tree.literals) {
      commented = commented || !literal.above.empty() || literal.beside;
      oneLine += (oneLine.back() == '{' ? " " : ", ") + written(literal, 0);
      width = std::max(width, literal.name.text.size());
    }
    oneLine += tree.literals.empty() ? "}" : " }";
    if (!commented && indent.size() + oneLine.size() + beside(item).size() <= maxLine) {
      line(indent, oneLine + beside(item));
      return;
    }
    openBlock(indent, head);
    for (const syntax::Literal& literal : tree.literals) {
      this->item(literal, indent + "    ", false, written(literal, width) + ",");
    }
    closeBlock(indent, tree.atEnd, item);
  }

  static std::string memberText(const syntax::Member& member, const Columns& columns) {
    std::string text = std::string(columns.id - member.id.spelling.size(), ' ') +
                       member.id.spelling + " " + padded(keyword(member.kind), columns.kind) + " " +
                       padded(nameColumn(member), columns.name) + " : ";
    switch (member.kind) {
      case MemberKind::bits:
        text += member.field.text + "[" + member.lowBit.spelling +
                (member.highBit ? ".." + member.highBit->spelling : "") + "] as " +
                written(member.type);
        break;
      case MemberKind::pointer:
        text += (member.constTarget ? "const " : "") + member.type.name.text;
        break;
      case MemberKind::own: {
        std::string parameters;
        for (const syntax::Word& parameter : member.parameters) {
          parameters += (parameters.empty() ? "(" : ", ") + parameter.text;
        }
        text += member.type.name.text + parameters + (parameters.empty() ? "" : ")") + " key " +
                member.keyName.text;
        break;
      }
      case MemberKind::set:
        text += member.type.name.text + " key " + member.keyName.text;
        break;
      case MemberKind::reference:
      case MemberKind::map:
        text += written(member.type) + " key " + written(member.keyType);
        break;
      default:
        text += written(member.type);
        break;
    }
    if (member.initial) {
      text +=
          std::string(" = ") + (member.initial->negative ? "-" : "") + member.initial->word.text;
    }
    if (member.range) {
      text += "  range " + member.range->low.word.text + ".." + member.range->high.word.text;
    }
    text += member.unit ? "  unit " + member.unit->text : "";
    text += member.fixed ? "  fixed" : "";
    text += member.readonly ? "  readonly" : "";
    text += member.wire32 ? "  wire u32" : "";
    text += member.nocompare ? "  nocompare" : "";
    return text + ";";
  }

  std::string out_;
  /// Whether a blank line, or a brace that needs none, was just written.
  bool fresh_ = true;
};

}  // namespace

std::string print(const syntax::File& file) { return Printer().run(file); }

}  // namespace tdc
