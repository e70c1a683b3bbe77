// What the runtime can do with a value that it knows only by its type.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "Pelmo/Vector.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/CharRange.h"
#include "Tovo/EnumType.h"
#include "Tovo/Exchange.h"
#include "Tovo/HashHelper.h"
#include "Tovo/Module.h"
#include "Tovo/Number.h"
#include "Tovo/OptionalByte.h"

namespace Tovo {

struct ValueOps;

/// Elements of a list value.
struct ListOps {
  const ValueOps* element;
  size_t (*size)(const void* list);
  const void* (*at)(const void* list, size_t index);
  void (*push)(void* list, const void* element);
};

/// The value inside an optional; null when absent.
struct OptionalOps {
  const ValueOps* element;
  const void* (*value)(const void* optional, void* storage);
};

/// One table a C++ type. Storage is raw memory of the stated size and alignment.
struct ValueOps {
  uint32_t size;
  uint32_t align;
  uint32_t encodedSize;  ///< TypeDescriptor::variableSize where it depends on the value
  /// encodedSize bytes, to be written, and to be read into a value that exists. Both are null where
  /// that depends on the value, or not all bytes are values.
  void (*encode)(uint8_t* to, const void* value) noexcept;
  void (*decode)(const uint8_t* from, void* value) noexcept;
  void (*construct)(void* storage, const void* source);  ///< a null source: the type's default
  void (*destruct)(void* value) noexcept;
  void (*assign)(void* value, const void* source);  ///< nothing has changed when it throws
  bool (*equal)(const void* a, const void* b);
  size_t (*attrLogSize)(const void* value);
  void (*write)(NboAttrLog::Out& out, const void* value);
  void (*read)(NboAttrLog::In& in, void* storage);  ///< constructs; unchecked ranges
  /// Reads what is left of a message, and stores it when it is another value: then true, and the
  /// one before is constructed in `previous` unless that is null. Throws StreamException, then
  /// nothing has changed.
  bool (*update)(NboAttrLog::In& in, void* value, void* previous);
  void (*print)(std::string& out, const void* value);
  void (*parse)(CharRange& text, void* storage);  ///< constructs
  uint32_t (*hash)(const void* value);            ///< null: unhashable
  bool (*less)(const void* a, const void* b);     ///< null: without an order
  uint64_t (*number)(const void* value);          ///< null: not one unsigned number
  const ListOps* list;                            ///< null: not a list
  const OptionalOps* optional;                    ///< null: not an optional
  uint32_t textMost;                              ///< bytes that putText writes at most
  char* (*putText)(char* to, const void* value);  ///< print, into that much room; may be null
};

/// Storage for one value that is known by its table. Small values need no allocation.
class ValueBuffer {
 public:
  explicit ValueBuffer(const ValueOps& ops)
      : ops_(ops), at_(ops.size <= sizeof inline_ ? inline_ : ::operator new(ops.size)) {}
  ~ValueBuffer() {
    if (constructed_) ops_.destruct(at_);
    if (at_ != inline_) ::operator delete(at_);
  }
  ValueBuffer(const ValueBuffer&) = delete;
  ValueBuffer& operator=(const ValueBuffer&) = delete;

  void constructDefault() { constructFrom(nullptr); }
  void constructFrom(const void* source) {
    ops_.construct(at_, source);
    constructed_ = true;
  }
  void read(NboAttrLog::In& in) {
    ops_.read(in, at_);
    constructed_ = true;
  }
  /// See ValueOps::update: what was there before, if it was another value.
  bool update(NboAttrLog::In& in, void* value) {
    constructed_ = ops_.update(in, value, at_);
    return constructed_;
  }
  void parse(CharRange& text) {
    ops_.parse(text, at_);
    constructed_ = true;
  }
  void* get() noexcept { return at_; }
  const void* get() const noexcept { return at_; }
  const ValueOps& ops() const noexcept { return ops_; }

 private:
  const ValueOps& ops_;
  bool constructed_ = false;
  alignas(16) unsigned char inline_[128];
  void* at_;
};

/// The text of a type. A class joins by appendText(std::string&) and a constructor from CharRange;
/// one that prints often and not much also says how much, by textMost, and putText(char*).
template <class T>
struct TextForm {
  static void print(std::string& out, const T& value) { value.appendText(out); }
  static T parse(CharRange& text) { return T(text); }
};

template <class T>
concept Primitive =
    std::unsigned_integral<T> || std::same_as<T, Seconds> || std::same_as<T, Pelmo::String>;

template <Primitive T>
struct TextForm<T> {
  static void print(std::string& out, const T& value) { Tovo::appendText(out, value); }
  static T parse(CharRange& text) { return deserializeAttr<T>(text, {}); }
};

template <class T>
requires std::is_enum_v<T>
struct TextForm<T> {
  static void print(std::string& out, T value) {
    EnumType::appendText(out, static_cast<int64_t>(value), TypeOf<T>::type());
  }
  static T parse(CharRange& text) {
    return static_cast<T>(EnumType::sequenceToValue(text, TypeOf<T>::type()));
  }
};

/// "None" when absent.
template <class T>
struct TextForm<OptionalByte<T>> {
  static void print(std::string& out, const OptionalByte<T>& value) {
    if (value) {
      TextForm<T>::print(out, value.value());
    } else {
      out += "None";
    }
  }
  static OptionalByte<T> parse(CharRange& text) {
    if (text.accept("None")) return {};
    return TextForm<T>::parse(text);
  }
};

/// "[a, b]".
template <class T, class Tag>
struct TextForm<Pelmo::BasicVector<T, Tag>> {
  static void print(std::string& out, const Pelmo::BasicVector<T, Tag>& list) {
    const char* separator = "[";
    for (const T& element : list) {
      out += separator;
      TextForm<T>::print(out, element);
      separator = ", ";
    }
    out += list.empty() ? "[]" : "]";
  }
  static Pelmo::BasicVector<T, Tag> parse(CharRange& text) {
    Pelmo::BasicVector<T, Tag> list;
    text.expect("[");
    if (text.accept("]")) return list;
    do {
      list.push(TextForm<T>::parse(text));
    } while (text.accept(", "));
    text.expect("]");
    return list;
  }
};

/// The log form of a type where its place asks for another one than the type's own.
enum class Wire : uint8_t {
  plain,
  u32,  ///< an enumeration as 32 bits instead of its own width
};

template <class T, Wire wire = Wire::plain>
struct LogForm {
  static constexpr uint32_t fixed = [] {
    if constexpr (NboAttrLog::FixedSize<T>) {
      return static_cast<uint32_t>(NboAttrLog::Codec<T>::size);
    } else {
      return TypeDescriptor::variableSize;
    }
  }();
  static size_t size(const T& value) {
    using NboAttrLog::attrLogSize;
    return attrLogSize(&value);
  }
  static void write(NboAttrLog::Out& out, const T& value) {
    using NboAttrLog::operator<<;
    out << value;
  }
  static T read(NboAttrLog::In& in) {
    if constexpr (NboAttrLog::FixedSize<T>) {
      return in.next<T>();
    } else if constexpr (std::is_same_v<T, Pelmo::String>) {
      return in.nextString();
    } else {
      return T(&in, StreamBogon{});
    }
  }
};

template <class T>
requires std::is_enum_v<T>
struct LogForm<T, Wire::u32> {
  static constexpr uint32_t fixed = 4;
  static size_t size(T) { return fixed; }
  static void write(NboAttrLog::Out& out, T value) {
    NboAttrLog::operator<<(out, static_cast<uint32_t>(value));
  }
  /// Throws StreamException for a number that one byte cannot hold besides 255.
  static T read(NboAttrLog::In& in);
};

namespace Impl {
[[noreturn]] void throwWideEnumerator(uint32_t number, const NboAttrLog::In& in);
}

template <class T>
requires std::is_enum_v<T> T LogForm<T, Wire::u32>::read(NboAttrLog::In& in) {
  const uint32_t number = in.nextU32();
  if (number >= 255) Impl::throwWideEnumerator(number, in);
  return static_cast<T>(number);
}

/// A presence bool, then the value when present.
template <class T, Wire wire>
struct LogForm<OptionalByte<T>, wire> {
  static constexpr uint32_t fixed = TypeDescriptor::variableSize;
  static size_t size(const OptionalByte<T>& value) {
    return 1 + (value ? LogForm<T, wire>::size(value.value()) : 0);
  }
  static void write(NboAttrLog::Out& out, const OptionalByte<T>& value) {
    NboAttrLog::operator<<(out, value.present());
    if (value) LogForm<T, wire>::write(out, value.value());
  }
  static OptionalByte<T> read(NboAttrLog::In& in) {
    if (!in.nextbool()) return {};
    return LogForm<T, wire>::read(in);
  }
};

/// A count of 32 bits, then the elements.
template <class T, class Tag>
struct LogForm<Pelmo::BasicVector<T, Tag>, Wire::plain> {
  static constexpr uint32_t fixed = TypeDescriptor::variableSize;
  static size_t size(const Pelmo::BasicVector<T, Tag>& list) {
    size_t total = 4;
    for (const T& element : list) total += LogForm<T>::size(element);
    return total;
  }
  static void write(NboAttrLog::Out& out, const Pelmo::BasicVector<T, Tag>& list) {
    NboAttrLog::operator<<(out, static_cast<uint32_t>(list.size()));
    for (const T& element : list) LogForm<T>::write(out, element);
  }
  static Pelmo::BasicVector<T, Tag> read(NboAttrLog::In& in) {
    constexpr uint32_t each = LogForm<T>::fixed;
    const uint32_t count = in.nextCount(each == TypeDescriptor::variableSize ? 1 : each);
    Pelmo::BasicVector<T, Tag> list;
    for (uint32_t i = 0; i < count; ++i) list.push(LogForm<T>::read(in));
    return list;
  }
};

namespace Impl {

template <class T, Wire wire>
constexpr auto encodeFunction() -> void (*)(uint8_t*, const void*) noexcept {
  if constexpr (wire == Wire::plain && NboAttrLog::FixedSize<T>) {
    return [](uint8_t* to, const void* value) noexcept {
      NboAttrLog::Codec<T>::put(to, *static_cast<const T*>(value));
    };
  } else {
    return nullptr;
  }
}

template <class T, Wire wire>
constexpr auto decodeFunction() -> void (*)(const uint8_t*, void*) noexcept {
  if constexpr (wire == Wire::plain && NboAttrLog::FixedSize<T>) {
    return [](const uint8_t* from, void* value) noexcept {
      NboAttrLog::decodeInto(*static_cast<T*>(value), from);
    };
  } else {
    return nullptr;
  }
}

template <class T>
constexpr auto hashFunction() -> uint32_t (*)(const void*) {
  if constexpr (std::is_integral_v<T> || std::is_enum_v<T> ||
                requires(const T& value) { value.hash(); }) {
    return [](const void* value) { return HashHelper<T>::hash(*static_cast<const T*>(value)); };
  } else {
    return nullptr;
  }
}

template <class T>
constexpr auto lessFunction() -> bool (*)(const void*, const void*) {
  if constexpr (requires(const T& a) { T::reflectedLess(a, a); }) {
    return [](const void* a, const void* b) {
      return T::reflectedLess(*static_cast<const T*>(a), *static_cast<const T*>(b));
    };
  } else if constexpr (requires(const T& a, const T& b) { a < b; }) {
    return [](const void* a, const void* b) {
      return *static_cast<const T*>(a) < *static_cast<const T*>(b);
    };
  } else {
    return nullptr;
  }
}

template <class T>
constexpr auto numberFunction() -> uint64_t (*)(const void*) {
  if constexpr (std::is_integral_v<T>) {
    return [](const void* value) -> uint64_t { return *static_cast<const T*>(value); };
  } else if constexpr (requires(const T& value) {
                         { value.value() } -> Integer;
                         { value.value() } -> std::convertible_to<T>;
                       }) {
    return [](const void* value) -> uint64_t { return static_cast<const T*>(value)->value(); };
  } else {
    return nullptr;
  }
}

template <class T>
constexpr auto putTextFunction() -> char* (*)(char*, const void*) {
  if constexpr (requires { T::textMost; }) {
    return [](char* to, const void* value) { return static_cast<const T*>(value)->putText(to); };
  } else {
    return nullptr;
  }
}

template <class T>
constexpr uint32_t textMost() {
  if constexpr (requires { T::textMost; }) {
    return T::textMost;
  } else {
    return 0;
  }
}

template <class T>
struct ContainerOps {
  static constexpr const ListOps* list = nullptr;
  static constexpr const OptionalOps* optional = nullptr;
};

}  // namespace Impl

template <class T, Wire wire = Wire::plain>
struct ValueOpsOf {
  static const ValueOps table;
};

namespace Impl {

template <class T, class Tag>
struct ContainerOps<Pelmo::BasicVector<T, Tag>> {
  using List = Pelmo::BasicVector<T, Tag>;
  static constexpr ListOps listTable{
      &ValueOpsOf<T>::table,
      [](const void* list) { return static_cast<const List*>(list)->size(); },
      [](const void* list, size_t index) -> const void* {
        return &static_cast<const List*>(list)->at(index);
      },
      [](void* list, const void* element) {
        static_cast<List*>(list)->push(*static_cast<const T*>(element));
      }};
  static constexpr const ListOps* list = &listTable;
  static constexpr const OptionalOps* optional = nullptr;
};

template <class T>
struct ContainerOps<OptionalByte<T>> {
  static constexpr OptionalOps optionalTable{
      &ValueOpsOf<T>::table, [](const void* optional, void* storage) -> const void* {
        const auto& value = *static_cast<const OptionalByte<T>*>(optional);
        return value ? new (storage) T(value.value()) : nullptr;
      }};
  static constexpr const ListOps* list = nullptr;
  static constexpr const OptionalOps* optional = &optionalTable;
};

}  // namespace Impl

template <class T, Wire wire>
constexpr ValueOps ValueOpsOf<T, wire>::table{
    sizeof(T),
    alignof(T),
    LogForm<T, wire>::fixed,
    Impl::encodeFunction<T, wire>(),
    Impl::decodeFunction<T, wire>(),
    [](void* storage, const void* source) {
      if (source) {
        new (storage) T(*static_cast<const T*>(source));
      } else {
        new (storage) T();
      }
    },
    [](void* value) noexcept { static_cast<T*>(value)->~T(); },
    [](void* value, const void* source) {
      Tovo::exchange(*static_cast<T*>(value), *static_cast<const T*>(source));
    },
    [](const void* a, const void* b) {
      return *static_cast<const T*>(a) == *static_cast<const T*>(b);
    },
    [](const void* value) { return LogForm<T, wire>::size(*static_cast<const T*>(value)); },
    [](NboAttrLog::Out& out, const void* value) {
      LogForm<T, wire>::write(out, *static_cast<const T*>(value));
    },
    [](NboAttrLog::In& in, void* storage) { new (storage) T(LogForm<T, wire>::read(in)); },
    [](NboAttrLog::In& in, void* value, void* previous) {
      T arrived(LogForm<T, wire>::read(in));
      in.expectEnd();
      T& stored = *static_cast<T*>(value);
      if (stored == arrived) return false;
      // Construction by moving needs no memory; assignment might run out of it half-way.
      if (previous) new (previous) T(std::move(stored));
      stored.~T();  // NOLINT(bugprone-use-after-move): it ends
      new (&stored) T(std::move(arrived));
      return true;
    },
    [](std::string& out, const void* value) {
      TextForm<T>::print(out, *static_cast<const T*>(value));
    },
    [](CharRange& text, void* storage) { new (storage) T(TextForm<T>::parse(text)); },
    Impl::hashFunction<T>(),
    Impl::lessFunction<T>(),
    Impl::numberFunction<T>(),
    Impl::ContainerOps<T>::list,
    Impl::ContainerOps<T>::optional,
    Impl::textMost<T>(),
    Impl::putTextFunction<T>(),
};

}  // namespace Tovo
