#include "TovoPelmo/TextPlan.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "Tovo/EnumType.h"
#include "Tovo/Exceptions.h"

namespace TovoPelmo {

namespace {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::TypeDescriptor;

// Pieces are copied by blocks, with room behind source and target for what is too much: a loop of
// two or three steps, where a copy of unknown length is a call.
constexpr size_t block = 16;

char* copyPiece(char* to, const char* piece, size_t size) noexcept {
  for (size_t done = 0; done < size; done += block) std::memcpy(to + done, piece + done, block);
  return to + size;
}

// By words, the last one overlapping the one before.
bool samePiece(const char* text, const char* piece, size_t size) noexcept {
  uint64_t a;
  uint64_t b;
  constexpr size_t word = sizeof a;
  if (size < word) return std::memcmp(text, piece, size) == 0;
  const auto same = [&](size_t at) {
    std::memcpy(&a, text + at, word);
    std::memcpy(&b, piece + at, word);
    return a == b;
  };
  for (size_t at = 0; at + word < size; at += word) {
    if (!same(at)) return false;
  }
  return same(size - word);
}

// Digits of the largest number of 32 bits, and of any.
constexpr size_t numberMost = 10;
constexpr size_t wideNumberMost = 20;

template <class T>
T load(const void* from) noexcept {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <class T>
char* putNumber(char* to, T value) noexcept {
  return std::to_chars(to, to + wideNumberMost, value).ptr;
}

char* putText(char* to, std::string_view text) noexcept {
  std::memcpy(to, text.data(), text.size());
  return to + text.size();
}

char* putLiteral(char* to, int64_t number, Tovo::TovoTypeBase type) noexcept {
  if (const char* name = Tovo::EnumType::literalName(number, type)) return putText(to, name);
  return putNumber(to, number);
}

size_t longestLiteral(Tovo::TovoTypeBase type) noexcept {
  const TypeDescriptor& descriptor = typeDescriptor(type);
  size_t longest = 0;
  for (uint32_t i = 0; i < descriptor.literalCount; ++i) {
    longest = std::max(longest, std::strlen(descriptor.literals[i].name));
  }
  return longest;
}

template <class T>
bool readNumber(const char*& at, const char* end, void* field, const uint64_t low,
                const uint64_t high) noexcept {
  T value{};
  const auto [behind, error] = std::from_chars(at, end, value, 10);
  if (error != std::errc{} || value < low || value > high) return false;
  std::memcpy(field, &value, sizeof value);
  at = behind;
  return true;
}

}  // namespace

TextPlan::TextPlan(Tovo::TovoTypeBase type) {
  addFields(type, 0, {});
  lastPieceSize_ = static_cast<uint32_t>(pieces_.size()) - lastPiece_;
  most_ += pieces_.size() + block;
  pieces_.append(block, '\0');
}

TextPlan::Form TextPlan::primitiveForm(Tovo::TypeCode code, size_t size) noexcept {
  switch (Tovo::primitiveType(code).form) {
    case Tovo::PrimitiveForm::integer:
      switch (size) {
        case 1:
          return Form::u8;
        case 2:
          return Form::u16;
        case 4:
          return Form::u32;
        case 8:
          return Form::u64;
        default:
          return Form::any;
      }
    case Tovo::PrimitiveForm::boolean:
      return Form::boolean;
    case Tovo::PrimitiveForm::none:
    case Tovo::PrimitiveForm::text:
    case Tovo::PrimitiveForm::seconds:
      return Form::any;
  }
  return Form::any;
}

void TextPlan::addFields(Tovo::TovoTypeBase type, size_t offset, Limits limits) {
  std::vector<Attribute> fields;
  for (const AttributeDescriptor& own : Tovo::ownAttributes(type)) {
    if (own.kind == AttributeKind::field) fields.emplace_back(*type.module, own);
  }
  if (fields.size() == 1) return addField(fields.front(), offset, limits);
  pieces_.append("Value('").append(typeName(type)).append("'");
  for (const Attribute& field : fields) {
    pieces_.append(", ").append(field.name()).append("=");
    addField(field, offset, {});
  }
  pieces_ += ')';
}

void TextPlan::addField(Attribute field, size_t offset, Limits limits) {
  constexpr uint8_t composed = AttributeDescriptor::optional | AttributeDescriptor::list;
  offset += field.descriptor().offset;
  if (field.has(AttributeDescriptor::ranged)) {
    limits.low = std::max(limits.low, field.detail().low);
    limits.high = std::min(limits.high, field.detail().high);
  }
  const Tovo::ValueOps& ops = field.ops();
  Form form = ops.putText ? Form::bounded : Form::any;
  size_t most = ops.textMost;
  const Tovo::TovoTypeBase type = field.type();
  // What is stored in another way than its type says prints and reads in its own way.
  if (field.has(composed) || field.detail().ops) {
    form = Form::any;
  } else if (type && (typeDescriptor(type).flags & TypeDescriptor::textByFields) != 0) {
    return addFields(type, offset, limits);
  } else if (type && typeDescriptor(type).kind == Tovo::TypeKind::enumeration) {
    constexpr size_t enumeratorMost = 20;
    form = ops.size == 1 ? Form::octetEnumeration : Form::intEnumeration;
    most = std::max(longestLiteral(type), enumeratorMost);
  } else if (!type) {
    form = primitiveForm(field.descriptor().type, ops.size);
    most = form == Form::u64 ? wideNumberMost : numberMost;
  }
  const bool limited = limits.low > 0 || limits.high < ~uint64_t{0};
  steps_.push_back({lastPiece_, static_cast<uint32_t>(pieces_.size()) - lastPiece_,
                    static_cast<uint32_t>(offset), form, limited, limits, &ops, type});
  lastPiece_ = static_cast<uint32_t>(pieces_.size());
  if (form != Form::any) most_ += most;
}

void TextPlan::print(std::string& out, const void* value) const {
  size_t before = out.size();
  out.resize(before + most_);
  char* to = out.data() + before;
  for (const Step& step : steps_) {
    to = copyPiece(to, pieces_.data() + step.piece, step.pieceSize);
    const void* field = static_cast<const char*>(value) + step.offset;
    switch (step.form) {
      case Form::u8:
        to = putNumber(to, load<uint8_t>(field));
        break;
      case Form::u16:
        to = putNumber(to, load<uint16_t>(field));
        break;
      case Form::u32:
        to = putNumber(to, load<uint32_t>(field));
        break;
      case Form::u64:
        to = putNumber(to, load<uint64_t>(field));
        break;
      case Form::boolean:
        to = putText(to, load<bool>(field) ? "true" : "false");
        break;
      case Form::octetEnumeration:
        to = putLiteral(to, load<uint8_t>(field), step.type);
        break;
      case Form::intEnumeration:
        to = putLiteral(to, load<int32_t>(field), step.type);
        break;
      case Form::bounded:
        to = step.ops->putText(to, field);
        break;
      case Form::any:
        out.resize(static_cast<size_t>(to - out.data()));
        step.ops->print(out, field);
        before = out.size();
        out.resize(before + most_);
        to = out.data() + before;
        break;
    }
  }
  to = copyPiece(to, pieces_.data() + lastPiece_, lastPieceSize_);
  out.resize(static_cast<size_t>(to - out.data()));
}

bool TextPlan::readStep(const Step& step, const char*& at, const char* end, void* field) const {
  const auto [low, high] = step.limits;
  switch (step.form) {
    case Form::u8:
      return readNumber<uint8_t>(at, end, field, low, high);
    case Form::u16:
      return readNumber<uint16_t>(at, end, field, low, high);
    case Form::u32:
      return readNumber<uint32_t>(at, end, field, low, high);
    case Form::u64:
      return readNumber<uint64_t>(at, end, field, low, high);
    default: {
      Tovo::CharRange text({at, static_cast<size_t>(end - at)});
      Tovo::ValueBuffer parsed(*step.ops);
      parsed.parse(text);
      if (step.limited) {
        const uint64_t number = step.ops->number(parsed.get());
        if (number < low || number > high) return false;
      }
      step.ops->assign(field, parsed.get());
      at += text.position();
      return true;
    }
  }
}

bool TextPlan::read(Tovo::CharRange& text, void* value) const {
  // The limits are part of the plan.
  if (!text.checksRanges()) return false;
  const std::string_view rest = text.rest();
  const char* at = rest.data();
  const char* const end = at + rest.size();
  const auto accept = [&](uint32_t piece, uint32_t size) {
    if (static_cast<size_t>(end - at) < size) return false;
    if (!samePiece(at, pieces_.data() + piece, size)) return false;
    at += size;
    return true;
  };
  try {
    for (const Step& step : steps_) {
      if (!accept(step.piece, step.pieceSize)) return false;
      if (!readStep(step, at, end, static_cast<char*>(value) + step.offset)) return false;
    }
  } catch (const Tovo::RangeException&) {
    return false;
  }
  if (!accept(lastPiece_, lastPieceSize_)) return false;
  text.skip(static_cast<size_t>(at - rest.data()));
  return true;
}

}  // namespace TovoPelmo
