#include "tdc/syntax/Tree.h"

namespace tdc {

namespace {

struct KindWord {
  const char* word;
  MemberKind kind;
};

constexpr KindWord kindWords[] = {
    {"field", MemberKind::field},     {"counter", MemberKind::counter},
    {"list", MemberKind::list},       {"const", MemberKind::constant},
    {"bits", MemberKind::bits},       {"indexed", MemberKind::indexed},
    {"query", MemberKind::query},     {"alt", MemberKind::alternative},
    {"param", MemberKind::parameter}, {"key", MemberKind::key},
    {"attr", MemberKind::attribute},  {"ptr", MemberKind::pointer},
    {"own", MemberKind::own},         {"ref", MemberKind::reference},
    {"map", MemberKind::map},         {"set", MemberKind::set},
};

}  // namespace

const char* keyword(MemberKind kind) {
  for (const KindWord& word : kindWords) {
    if (word.kind == kind) return word.word;
  }
  return "";
}

std::string syntax::documentation(const Item& item) {
  std::string text;
  bool first = true;
  for (const Comment& comment : item.above) {
    if (comment.documentation) {
      bool indented = !comment.text.empty() && comment.text.front() == ' ';
      text += (first ? "" : "\n") + comment.text.substr(indented ? 1 : 0);
      first = false;
    }
  }
  return text;
}

}  // namespace tdc
