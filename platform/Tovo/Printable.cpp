#include "Tovo/Printable.h"

#include <algorithm>
#include <iterator>

namespace Tovo {

namespace {

struct Characters {
  unsigned first;
  unsigned last;
};

// Ascending. Format and separator characters and those that are ignored by default (the Unicode
// categories Cf, Zl, Zp, the property Default_Ignorable_Code_Point), and noncharacters.
constexpr Characters hidden[] = {
    {0x00ad, 0x00ad},    // soft hyphen
    {0x034f, 0x034f},    // grapheme joiner
    {0x0600, 0x0605},    // Arabic number signs
    {0x061c, 0x061c},    // Arabic letter mark
    {0x06dd, 0x06dd},    // end of ayah
    {0x070f, 0x070f},    // Syriac abbreviation
    {0x0890, 0x0891},    // Arabic pound and piastre marks
    {0x08e2, 0x08e2},    // disputed end of ayah
    {0x115f, 0x1160},    // Hangul fillers
    {0x17b4, 0x17b5},    // Khmer inherent vowels
    {0x180b, 0x180f},    // Mongolian variation selectors
    {0x200b, 0x200f},    // zero width space to right-to-left mark
    {0x2028, 0x202e},    // line and paragraph separator, embeddings, overrides
    {0x2060, 0x206f},    // word joiner, invisible operators, isolates
    {0x3164, 0x3164},    // Hangul filler
    {0xfdd0, 0xfdef},    // noncharacters
    {0xfe00, 0xfe0f},    // variation selectors
    {0xfeff, 0xfeff},    // zero width no-break space
    {0xffa0, 0xffa0},    // halfwidth Hangul filler
    {0xfff0, 0xfffb},    // interlinear annotations
    {0xfffe, 0xffff},    // noncharacters
    {0x110bd, 0x110bd},  // Kaithi number sign
    {0x110cd, 0x110cd},  // Kaithi number sign above
    {0x13430, 0x1343f},  // Egyptian hieroglyph joiners
    {0x1bca0, 0x1bca3},  // shorthand formats
    {0x1d173, 0x1d17a},  // musical beams and slurs
    {0xe0000, 0xe0fff},  // tags, variation selectors
};

bool isHidden(unsigned code) noexcept {
  const auto* at = std::lower_bound(
      std::begin(hidden), std::end(hidden), code,
      [](const Characters& characters, unsigned wanted) { return characters.last < wanted; });
  return (at != std::end(hidden) && at->first <= code) || (code & 0xfffe) == 0xfffe;
}

}  // namespace

size_t printableLength(std::string_view text) noexcept {
  if (text.empty()) return 0;
  const auto byte = [&](size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned first = byte(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
  size_t length = 0;
  unsigned code = 0;
  if (first >= 0xc2 && first <= 0xdf) {
    length = 2;
    code = first & 0x1f;
  } else if (first >= 0xe0 && first <= 0xef) {
    length = 3;
    code = first & 0x0f;
  } else if (first >= 0xf0 && first <= 0xf4) {
    length = 4;
    code = first & 0x07;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  for (size_t at = 1; at < length; ++at) {
    if ((byte(at) & 0xc0) != 0x80) return 0;
    code = code << 6 | (byte(at) & 0x3f);
  }
  constexpr unsigned shortest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool overlong = code < shortest[length];
  const bool surrogate = code >= 0xd800 && code <= 0xdfff;
  const bool control = code < 0xa0;  // C1
  return overlong || surrogate || control || code > 0x10ffff || isHidden(code) ? 0 : length;
}

bool isPrintable(std::string_view text) noexcept {
  while (!text.empty()) {
    const size_t length = printableLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string printable(std::string_view text) {
  static constexpr char hex[] = "0123456789abcdef";
  std::string out;
  while (!text.empty()) {
    const size_t length = printableLength(text);
    if (length == 0) {
      const auto byte = static_cast<unsigned char>(text.front());
      out += "\\x";
      out += hex[byte >> 4];
      out += hex[byte & 15];
      text.remove_prefix(1);
    } else {
      out += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return out;
}

}  // namespace Tovo
