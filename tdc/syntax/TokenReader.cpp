#include "tdc/syntax/TokenReader.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tdc {

TokenReader::TokenReader(const SourceFile& file, Diagnostics& diagnostics)
    : diagnostics_(diagnostics), tokens_(tokens(file, diagnostics)) {}

Token& TokenReader::peek(size_t ahead) {
  return tokens_[std::min(here_ + ahead, tokens_.size() - 1)];
}

bool TokenReader::is(std::string_view punctuation) {
  return peek().kind == Token::Kind::punctuation && peek().spelling == punctuation;
}

bool TokenReader::isWord(std::string_view word) {
  return peek().kind == Token::Kind::word && peek().spelling == word;
}

Token& TokenReader::advance() {
  Token& token = peek();
  for (Comment& comment : token.comments) {
    refuseDocumentation(comment);
    strays_.push_back(std::move(comment));
  }
  token.comments.clear();
  if (here_ + 1 < tokens_.size()) ++here_;
  return token;
}

void TokenReader::skip() {
  peek().comments.clear();
  ++here_;
}

bool TokenReader::accept(std::string_view punctuation) {
  if (!is(punctuation)) return false;
  advance();
  return true;
}

void TokenReader::fail(Span where, std::string text) {
  diagnostics_.error(where, std::move(text));
  throw Abandoned();
}

std::string TokenReader::found() {
  if (peek().kind == Token::Kind::end) return "the end of the file";
  std::string_view spelling = peek().spelling;
  bool quoted = peek().kind == Token::Kind::text;
  std::string shown(spelling.substr(0, 40));
  shown += spelling.size() > 40 ? "..." : "";
  return quoted ? shown : "'" + shown + "'";
}

void TokenReader::expected(const std::string& what) {
  // What is missing at the end of a line is shown there, not at the start of the next.
  bool missing = here_ > 0 && (peek().firstOnLine || peek().kind == Token::Kind::end);
  const Span& last = tokens_[here_ == 0 ? 0 : here_ - 1].span;
  Span where = missing ? Span{last.file, last.end, last.end} : peek().span;
  fail(where, "expected " + what + ", found " + found());
}

void TokenReader::expect(std::string_view punctuation) {
  if (!accept(punctuation)) expected("'" + std::string(punctuation) + "'");
}

void TokenReader::expectWord(const std::string& word) {
  if (!isWord(word)) expected("'" + word + "'");
  advance();
}

syntax::Word TokenReader::take() {
  Token& token = advance();
  return {std::string(token.spelling), token.span};
}

void TokenReader::refuseDocumentation(const Comment& comment) {
  if (comment.documentation) {
    diagnostics_.error(comment.span,
                       "documentation belongs on lines of its own, directly above a type, a "
                       "literal or a member; use '//' here");
  }
}

std::vector<Comment> TokenReader::lastComments() {
  std::vector<Comment> comments = std::move(peek().comments);
  peek().comments.clear();
  for (const Comment& comment : comments) refuseDocumentation(comment);
  return comments;
}

void TokenReader::begin(syntax::Item& item, bool documented) {
  item.blankLineAbove = peek().blankLineAbove;
  item.above = std::move(peek().comments);
  peek().comments.clear();
  for (const Comment& comment : item.above) {
    if (!documented || (comment.documentation && !comment.ownLine)) refuseDocumentation(comment);
    if (comment.documentation && !comment.text.empty() && comment.text.back() == '\\') {
      diagnostics_.error(comment.span,
                         "documentation must not end a line with '\\', which would join it to "
                         "the next line of the C++ code");
    }
  }
}

void TokenReader::end(syntax::Item& item) {
  std::vector<Comment>& following = peek().comments;
  if (!following.empty() && !following.front().ownLine && !following.front().documentation) {
    item.beside = std::move(following.front());
    following.erase(following.begin());
  }
  if (item.above.empty() && !strays_.empty()) {
    std::swap(item.blankLineAbove, strays_.front().blankLineAbove);
    item.blankLineAbove = false;
  }
  std::move(strays_.begin(), strays_.end(), std::back_inserter(item.above));
  strays_.clear();
}

void TokenReader::recover(size_t start) {
  size_t depth = 0;
  for (; peek().kind != Token::Kind::end; ++here_) {
    peek().comments.clear();
    bool opensLine = here_ > start && peek().firstOnLine;
    if (depth == 0 && opensLine &&
        (peek().kind == Token::Kind::number || (inBlock_ ? isWord("enum") : startsDeclaration()))) {
      return;
    }
    if (is("{")) {
      ++depth;
    } else if (is("}")) {
      if (depth == 0 && inBlock_) return;
      if (depth <= 1) {
        ++here_;
        return;
      }
      --depth;
    } else if (is(";") && depth == 0) {
      ++here_;
      return;
    }
  }
}

bool TokenReader::startsDeclaration() {
  std::string_view word = peek().spelling;
  return peek().kind == Token::Kind::word &&
         (word == "namespace" || word == "import" ||
          std::find(std::begin(syntax::typeKeywords), std::end(syntax::typeKeywords), word) !=
              std::end(syntax::typeKeywords));
}

}  // namespace tdc
