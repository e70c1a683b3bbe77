#include "tdc/emit/Function.h"

#include "tdc/emit/CppNames.h"
#include "words/Phrases.h"

namespace tdc {

namespace {

void append(std::string& text, const std::string& word) {
  if (word.empty()) return;
  if (!text.empty()) text += ' ';
  text += word;
}

std::string tail(const Function& function, const std::string& end) {
  std::string text = ")";
  if (!function.suffix.empty()) text += " " + function.suffix;
  return text + end;
}

std::string flat(const std::string& head, const Function& function, const std::string& end) {
  std::string text = head;
  for (size_t i = 0; i < function.parameters.size(); ++i) {
    text += (i > 0 ? ", " : "") + function.parameters[i];
  }
  return text + tail(function, end);
}

// Initializers stand behind the signature, else all on the next line, else one a line.
void printInitializers(Writer& out, const Function& function, const std::string& head,
                       const std::string& opened) {
  out.list(head, function.parameters, tail(function, ""));
  const std::string all = "    : " + words::joined(function.initializers) + opened;
  if (out.indentation() + all.size() <= Writer::width) {
    out.line(all);
    return;
  }
  for (size_t i = 0; i < function.initializers.size(); ++i) {
    const bool last = i + 1 == function.initializers.size();
    out.line((i == 0 ? "    : " : "      ") + function.initializers[i] + (last ? opened : ","));
  }
}

void printBody(Writer& out, const Function& function, const std::string& head) {
  const std::string initializers =
      function.initializers.empty() ? "" : " : " + words::joined(function.initializers);
  const auto fits = [&](const std::string& text) {
    return out.indentation() + text.size() <= Writer::width;
  };
  if (function.body.size() <= 1) {
    const std::string body = function.body.empty() ? " {}" : " { " + function.body.front() + " }";
    const std::string whole = flat(head, function, initializers + body);
    if (fits(whole)) {
      out.line(whole);
      return;
    }
  }
  const std::string opened = function.body.empty() ? " {}" : " {";
  const std::string oneLine = flat(head, function, initializers + opened);
  if (fits(oneLine)) {
    out.line(oneLine);
  } else if (initializers.empty()) {
    out.list(head, function.parameters, tail(function, opened));
  } else {
    printInitializers(out, function, head, opened);
  }
  if (function.body.empty()) return;
  out.indent();
  for (const std::string& line : function.body) out.code(line);
  out.outdent();
  out.line("}");
}

}  // namespace

void printDeclaration(Writer& out, const Function& function) {
  out.doc(function.doc);
  std::string head = function.prefix;
  append(head, function.result);
  append(head, function.name + "(");
  if (function.place == Function::Place::header) {
    printBody(out, function, head);
    return;
  }
  std::string end = function.override_.empty() ? "" : " " + function.override_;
  end += function.place == Function::Place::defaulted ? " = default;" : ";";
  out.list(head, function.parameters, tail(function, end));
}

void printDefinition(Writer& out, const Function& function, const std::string& scope) {
  if (function.place != Function::Place::source) return;
  std::string head = function.result;
  append(head, within(scope, function.name) + "(");
  printBody(out, function, head);
  out.line();
}

}  // namespace tdc
