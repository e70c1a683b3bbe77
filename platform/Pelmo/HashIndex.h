// Open addressing: from a hash to the object that has it.
#pragma once

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

namespace Pelmo {

/// Finds objects by a hash of 32 bits. A slot is one word with the object's address, of at most 48
/// bits, and a part of its hash, so that a search meets hardly any object but the one it is for.
///
/// What is erased leaves its slot used up, so a slot means the same object until the index is
/// filled anew: whoever owns the index does that when it is full.
class HashIndex {
 public:
  static constexpr uint32_t nowhere = 0xffffffff;

  /// None yet: find, add, at and erase need one.
  constexpr HashIndex() noexcept = default;
  /// An empty one with room for so many and some more. Throws std::bad_alloc.
  explicit HashIndex(uint32_t objects)
      : slots_(static_cast<uint32_t>(std::bit_ceil(objects + objects * uint64_t{3} / 5))) {
    words_ = static_cast<Word*>(std::calloc(slots_, sizeof(Word)));
    if (!words_) throw std::bad_alloc();
  }
  HashIndex(const HashIndex&) = delete;
  HashIndex& operator=(const HashIndex&) = delete;
  ~HashIndex() { std::free(words_); }

  bool exists() const noexcept { return words_ != nullptr; }
  /// One more needs an index of more slots, or one without erased ones.
  bool full() const noexcept { return filled_ >= slots_ - slots_ / 8; }
  /// The object of a slot; null where it was erased.
  void* at(uint32_t slot) const noexcept { return objectOf(words_[slot]); }

  /// The slot of the object with that hash for which `equal(object)` holds, or nowhere. The index
  /// exists.
  template <class Equal>
  uint32_t find(uint32_t hash, Equal equal) const {
    const uint32_t mask = slots_ - 1;
    const Word tag = tagOf(hash);
    for (uint32_t slot = hash & mask;; slot = (slot + 1) & mask) {
      // With an equal tag this leaves the address alone.
      // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): the index exists
      const Word address = words_[slot] ^ tag;
      if (address >> addressBits == 0) {
        if (equal(reinterpret_cast<void*>(address))) return slot;
      } else if (address == (unused ^ tag)) {
        return nowhere;
      }
    }
  }

  /// Returns the slot. The index is not full.
  uint32_t add(uint32_t hash, void* object) noexcept {
    const uint32_t mask = slots_ - 1;
    uint32_t slot = hash & mask;
    while (words_[slot] != unused) slot = (slot + 1) & mask;
    words_[slot] = reinterpret_cast<Word>(object) | tagOf(hash);
    ++filled_;
    return slot;
  }

  void erase(uint32_t slot) noexcept { words_[slot] = erased; }

  /// Calls visit(object) for each one, in no order.
  template <class Visit>
  void forEach(const Visit& visit) const {
    for (uint32_t slot = 0; slot < slots_; ++slot) {
      if (void* object = at(slot)) visit(object);
    }
  }

  void swap(HashIndex& other) noexcept {
    std::swap(words_, other.words_);
    std::swap(slots_, other.slots_);
    std::swap(filled_, other.filled_);
  }

 private:
  // A word is an address below a tag, which is never 0.
  using Word = uint64_t;
  static_assert(sizeof(void*) == sizeof(Word));
  static constexpr unsigned addressBits = 48;
  static constexpr Word unused = 0;
  static constexpr Word erased = 1;  // a search goes on behind it
  static constexpr Word tagOf(uint32_t hash) noexcept {
    return Word{hash >> 16 | 1} << addressBits;
  }
  static void* objectOf(Word word) noexcept {
    constexpr Word address = (Word{1} << addressBits) - 1;
    return word == erased ? nullptr : reinterpret_cast<void*>(word & address);
  }

  Word* words_ = nullptr;
  uint32_t slots_ = 0;   // a power of two
  uint32_t filled_ = 0;  // erased ones included
};

}  // namespace Pelmo
