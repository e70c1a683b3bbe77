#include "Nelka/IntfId.h"

#include <charconv>

#include "Nelka/Modules.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Print.h"

namespace Nelka {

namespace {

struct Kind {
  std::string_view name;
  uint64_t code;
  bool slots;  // numbers between slashes, and a subinterface
  uint32_t highest;
};

constexpr Kind kinds[] = {
    {"Ethernet", 1, true, 16383}, {"Management", 2, true, 16383}, {"Port-Channel", 3, false, 16383},
    {"Vlan", 4, false, 4095},     {"Loopback", 5, false, 16383},
};

constexpr unsigned kindShift = 60;
constexpr unsigned countShift = 58;
constexpr unsigned numberShift[] = {44, 32, 20};
constexpr uint32_t numberHighest[] = {16383, 4095, 4095};
constexpr uint32_t subinterfaceHighest = 4095;

// One decimal number without needless zeros.
bool readNumber(std::string_view& rest, uint32_t highest, uint64_t& number) {
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
  const size_t digits = static_cast<size_t>(end - rest.data());
  if (error != std::errc{} || value > highest || (digits > 1 && rest.front() == '0')) return false;
  rest.remove_prefix(digits);
  number = value;
  return true;
}

bool readName(std::string_view& rest, uint64_t& id) {
  for (const Kind& kind : kinds) {
    if (!rest.starts_with(kind.name)) continue;
    rest.remove_prefix(kind.name.size());
    uint64_t number = 0;
    if (!readNumber(rest, kind.highest, number)) return false;
    id = kind.code << kindShift | number << numberShift[0];
    uint64_t count = 0;
    while (kind.slots && count < 2 && rest.starts_with('/')) {
      rest.remove_prefix(1);
      ++count;
      if (!readNumber(rest, numberHighest[count], number)) return false;
      id |= number << numberShift[count];
    }
    id |= count << countShift;
    const bool subinterface = kind.slots || kind.name == "Port-Channel";
    if (subinterface && rest.starts_with('.')) {
      rest.remove_prefix(1);
      if (!readNumber(rest, subinterfaceHighest, number)) return false;
      id |= number + 1;
    }
    return true;
  }
  return false;
}

bool readHex(std::string_view& rest, uint64_t& id) {
  const auto [end, error] = std::from_chars(rest.data() + 2, rest.data() + rest.size(), id, 16);
  if (error != std::errc{}) return false;
  rest.remove_prefix(static_cast<size_t>(end - rest.data()));
  return true;
}

bool appendName(std::string& out, uint64_t id) {
  const uint64_t code = id >> kindShift;
  for (const Kind& kind : kinds) {
    if (kind.code != code) continue;
    std::string name(kind.name);
    const uint64_t count = id >> countShift & 3;
    for (uint64_t i = 0; i <= count && i < 3; ++i) {
      if (i > 0) name += '/';
      name += std::to_string(id >> numberShift[i] & (numberHighest[i]));
    }
    if ((id & 0x1fff) != 0) name += "." + std::to_string((id & 0x1fff) - 1);
    // Bits that the name does not show make it no name.
    uint64_t again = 0;
    std::string_view rest = name;
    if (!readName(rest, again) || !rest.empty() || again != id) return false;
    out += name;
    return true;
  }
  return false;
}

}  // namespace

IntfId::IntfId(std::string_view name) {
  Tovo::CharRange text(name);
  const Tovo::CharRangeCheckAllDataConsumed check(text);
  number_ = IntfId(text).number_;
}

IntfId::IntfId(Tovo::CharRange& text) {
  const char next = text.front();
  const bool starts = (next >= 'A' && next <= 'Z') || (next >= 'a' && next <= 'z') || next == '0';
  if (!starts) return;
  std::string_view rest = text.rest();
  const size_t before = rest.size();
  const bool good = rest.starts_with("0x") ? readHex(rest, number_) : readName(rest, number_);
  if (!good) {
    std::string found;
    constexpr size_t shownCharacters = 24;
    Tovo::appendQuoted(found, text.rest().substr(0, shownCharacters));
    throw Tovo::ParseException(
        "expected an interface such as Ethernet1, Ethernet3/1/2, Ethernet3/1.100, Port-Channel10, "
        "Vlan100, Loopback0 or Management1 at character " +
            std::to_string(text.position()) + ", found " + found,
        text.position());
  }
  text.skip(before - rest.size());
}

void IntfId::appendText(std::string& out) const {
  if (number_ == 0 || appendName(out, number_)) return;
  char digits[16];
  const auto result = std::to_chars(digits, digits + sizeof digits, number_, 16);
  out.append("0x").append(digits, result.ptr);
}

Tovo::TovoTypeBase IntfId::tovoStaticType() noexcept {
  return {&_IntfId_638f3da9b062f5a9_tovoModule, 0};
}

std::ostream& operator<<(std::ostream& os, const IntfId& id) { return Tovo::printText(os, id); }

}  // namespace Nelka
