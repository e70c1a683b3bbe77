// Messages of an attribute log that speak of no entity: one table for who writes them, who reads
// them, and who describes them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <tuple>

#include "Mirror/log/ConstructorValues.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/Types.h"

namespace Tovo::NboAttrLog::Control {

// --- what payloads consist of
// ---------------------------------------------------------------------

/// A count of bytes, then the bytes.
struct Text {
  using Value = std::string;
  using View = std::string_view;
  static constexpr const char* type = "String";
  static size_t size(View text) noexcept { return sizeof(uint32_t) + text.size(); }
  static void write(Out& out, View text) {
    out << static_cast<uint32_t>(text.size());
    out.bytes(text.data(), text.size());
  }
  static Value read(In& in) { return std::string(in.nextString().view()); }
};

template <class T>
struct Number {
  using Value = T;
  using View = T;
  static constexpr const char* type = sizeof(T) == 8   ? "U64"
                                      : sizeof(T) == 4 ? "U32"
                                      : sizeof(T) == 2 ? "U16"
                                                       : "bool";
  static size_t size(T) noexcept { return sizeof(T); }
  static void write(Out& out, T value) { out << value; }
  static Value read(In& in) { return in.next<T>(); }
};
using U16 = Number<uint16_t>;
using U32 = Number<uint32_t>;
using U64 = Number<uint64_t>;
using Flag = Number<bool>;

/// Something that is only understood by what came before it: what is left of the message.
struct Rest {
  using Value = In;
  static Value read(In& in) {
    const In rest = in;
    in.take(in.remaining());
    return rest;
  }
};

/// The module records of this process.
struct Modules : Rest {
  struct View {};
  static constexpr const char* type = "U16 count, per module: String name, String hash";
  static size_t size(View);
  static void write(Out& out, View);
};

/// Roots, and what types they are of.
struct Roots : Rest {
  struct Root {
    std::string_view path;
    std::string_view type;
  };
  using View = std::span<const Root>;
  static constexpr const char* type = "U32 count, per root: String path, String type";
  static size_t size(View roots) noexcept;
  static void write(Out& out, View roots);
};

/// What an entity was constructed from.
struct Constructor : Rest {
  using View = const Entity&;
  static constexpr const char* type = "the constructor values";
  static size_t size(View entity) { return ConstructorValues::attrLogSize(entity); }
  static void write(Out& out, View entity) { ConstructorValues::write(out, entity); }
};

// --- the table
// ------------------------------------------------------------------------------------

template <class... Fields>
struct Message {
  AttributeId id;
  const char* name;  ///< as documents and people call it
  std::array<const char*, sizeof...(Fields)> labels = {};

  static size_t size([[maybe_unused]] const typename Fields::View&... values) {
    return (size_t{0} + ... + Fields::size(values));
  }
  static void write([[maybe_unused]] Out& out,
                    [[maybe_unused]] const typename Fields::View&... values) {
    (Fields::write(out, values), ...);
  }
  /// All of the payload. Throws StreamException when it is something else.
  static std::tuple<typename Fields::Value...> read(In& in) {
    std::tuple<typename Fields::Value...> values{Fields::read(in)...};
    in.expectEnd();
    return values;
  }
};

inline constexpr Message<U32, U16, Modules> greeting{
    1, "greeting", {"`54414c31` (\"TAL1\")", "version 1", ""}};
inline constexpr Message<Text> goodBye{2, "good-bye", {"reason"}};
inline constexpr Message<> askMounts{3, "what is mounted"};
inline constexpr Message<Roots> mounts{4, "mounts", {""}};
inline constexpr Message<Text, Flag> mount{5, "mount", {"path", "read-only"}};
inline constexpr Message<Text, Flag, Text, U32, Constructor> mounted{
    6, "mounted", {"path", "read-only", "type", "number", ""}};
inline constexpr Message<Text> refused{7, "refused", {"reason"}};
inline constexpr Message<Text, Text> create{8, "create a root", {"path", "type"}};
inline constexpr Message<> turn{9, "turn"};
inline constexpr Message<U32> ping{10, "ping", {"number"}};
inline constexpr Message<U32> pong{11, "pong", {"that number"}};
inline constexpr Message<U32> taken{12, "taken", {"count"}};
inline constexpr Message<Text, Text> unmounted{13, "unmounted", {"path", "reason"}};
inline constexpr Message<Text, Text> readOnly{14, "read-only", {"path", "reason"}};
inline constexpr Message<> askStatus{15, "how are you"};
inline constexpr Message<Text> status{16, "status", {""}};
inline constexpr Message<U64> time{20, "time", {"nanoseconds since 1970"}};  ///< in recordings only
inline constexpr Message<Text, Text, Constructor> createWith{
    21, "create a root like this", {"path", "type", ""}};
inline constexpr Message<Text> remove{22, "remove a root", {"path"}};
inline constexpr Message<> followMounts{23, "go on telling what is mounted"};
inline constexpr Message<Roots> someMounts{24, "some mounts", {""}};
inline constexpr Message<Text, Text> root{25, "root", {"path", "type"}};

/// A row of the table as text.
struct Row {
  AttributeId id;
  std::string_view name;
  std::string payload;  ///< "String path, bool read-only"
};
/// All messages, in the order of their ids.
std::span<const Row> rows();
/// "mount", or "control 99" for one that this release does not have.
std::string nameOf(AttributeId id);

}  // namespace Tovo::NboAttrLog::Control
