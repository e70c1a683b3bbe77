// The runtime's string: immutable, shared, one pointer wide.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "Pelmo/RefCount.h"

namespace Pelmo {

/// Any bytes. Copies share one counted block, so storing, passing and comparing a string allocates
/// nothing; only construction from characters does. The empty string has no block.
///
/// `interned` gives the one shared block of a text: the names of entities are made that way, so a
/// port name that stands in a thousand places is stored once and compares by address.
class String {
 public:
  constexpr String() noexcept = default;
  String(std::string_view text);
  String(const char* text) : String(std::string_view(text)) {}
  String(const std::string& text) : String(std::string_view(text)) {}
  String(const String& other) noexcept : block_(other.block_) {
    if (block_) block_->references.add();
  }
  String(String&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  ~String() {
    if (block_) release(block_);
  }
  String& operator=(String other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }

  static String interned(std::string_view text);
  static String interned(const char* text) { return interned(std::string_view(text)); }
  static String interned(const std::string& text) { return interned(std::string_view(text)); }
  /// The interned string of the same text; this very string when it is interned already.
  static String interned(const String& text);

  std::string_view view() const noexcept {
    return block_ ? std::string_view(block_->text(), block_->size) : std::string_view();
  }
  operator std::string_view() const noexcept { return view(); }
  const char* data() const noexcept { return block_ ? block_->text() : ""; }
  /// Ends in a zero byte; text that holds zero bytes itself is cut short by a reader of C strings.
  const char* charPtr() const noexcept { return data(); }
  uint32_t size() const noexcept { return block_ ? block_->size : 0; }
  bool empty() const noexcept { return block_ == nullptr; }
  /// Computed once for each block.
  uint32_t hash() const noexcept {
    const uint32_t known = block_ ? __atomic_load_n(&block_->hash, __ATOMIC_RELAXED) : 0;
    return known != 0 ? known : computeHash();
  }
  static uint32_t hashOf(std::string_view text) noexcept;

  friend bool operator==(const String& a, const String& b) noexcept {
    return a.block_ == b.block_ || (a.size() == b.size() && !bothInterned(a, b) && sameText(a, b));
  }
  friend bool operator==(const String& a, std::string_view b) noexcept { return a.view() == b; }
  friend bool operator==(const String& a, const char* b) noexcept { return a.view() == b; }
  friend bool operator==(const String& a, const std::string& b) noexcept { return a.view() == b; }
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    return a.view() <=> b.view();
  }

 private:
  ///   offset 0   reference count        8   hash, 0 until it is asked for
  ///          4   size in bytes         12   interned    16   text and a zero byte
  struct Block {
    RefCount references;
    uint32_t size;
    uint32_t hash;
    uint32_t interned;
    const char* text() const noexcept { return reinterpret_cast<const char*>(this + 1); }
    char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
  };
  friend class NamePool;

  uint32_t computeHash() const noexcept;
  static Block* newBlock(std::string_view text, bool interned);
  static void freeBlock(Block* block) noexcept;
  static void release(Block* block) noexcept;
  static bool bothInterned(const String& a, const String& b) noexcept {
    return a.block_ && b.block_ && a.block_->interned && b.block_->interned;
  }
  static bool sameText(const String& a, const String& b) noexcept { return a.view() == b.view(); }

  Block* block_ = nullptr;
};

/// Writes the bytes as they are, padded as a std::string is.
std::ostream& operator<<(std::ostream& os, const String& text);

}  // namespace Pelmo

/// @cond
template <>
struct std::hash<Pelmo::String> {
  size_t operator()(const Pelmo::String& text) const noexcept { return text.hash(); }
};
/// @endcond
