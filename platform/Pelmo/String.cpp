#include "Pelmo/String.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <ostream>
#include <stdexcept>

#include "Morsa/Slab.h"
#include "Pelmo/HashIndex.h"

namespace Pelmo {

/// The interned blocks. It holds no references: a block leaves it when its last user is gone.
class NamePool {
 public:
  // Never destroyed: strings of other static objects may go after any static of this library.
  static NamePool& instance() {
    static NamePool* pool = new NamePool;
    return *pool;
  }

  String::Block* find(std::string_view text) {
    const uint32_t hash = String::hashOf(text);
    const Guard guard(*this);
    const uint32_t slot =
        !index_.exists() ? HashIndex::nowhere : index_.find(hash, [&](const void* object) {
          const String::Block* block = blockOf(object);
          return block->hash == hash && textOf(block) == text;
        });
    if (slot != HashIndex::nowhere) {
      String::Block* block = blockOf(index_.at(slot));
      if (block->references.addUnlessGone()) return block;
      // One that another thread is just letting go stands aside for a new one.
      erase(slot);
    }
    makeRoom();
    String::Block* block = String::newBlock(text, true);
    block->hash = hash;
    index_.add(hash, block);
    ++names_;
    return block;
  }

  void remove(String::Block* block) noexcept {
    const Guard guard(*this);
    const uint32_t slot = index_.find(block->hash, [&](void* object) { return object == block; });
    if (slot != HashIndex::nowhere) erase(slot);
  }

 private:
  struct Guard {
    explicit Guard(NamePool& pool) : lock(pool.mutex_, std::defer_lock) {
      if (ThreadControl::tsp_) lock.lock();
    }
    std::unique_lock<std::mutex> lock;
  };
  static String::Block* blockOf(const void* object) noexcept {
    return static_cast<String::Block*>(const_cast<void*>(object));
  }
  static std::string_view textOf(const String::Block* block) noexcept {
    return {block->text(), block->size};
  }

  void makeRoom() {
    if (index_.exists() && !index_.full()) return;
    constexpr uint32_t few = 8;
    HashIndex filled(std::max(names_, few) + 1);
    index_.forEach([&](void* block) { filled.add(blockOf(block)->hash, block); });
    index_.swap(filled);
  }
  void erase(uint32_t slot) noexcept {
    index_.erase(slot);
    --names_;
  }

  std::mutex mutex_;
  HashIndex index_;
  uint32_t names_ = 0;
};

String::String(std::string_view text) {
  if (!text.empty()) block_ = newBlock(text, false);
}

String String::interned(std::string_view text) {
  String result;
  if (!text.empty()) result.block_ = NamePool::instance().find(text);
  return result;
}

String String::interned(const String& text) {
  return !text.block_ || text.block_->interned ? text : interned(text.view());
}

uint32_t String::computeHash() const noexcept {
  const uint32_t hash = hashOf(view());
  if (block_) __atomic_store_n(&block_->hash, hash, __ATOMIC_RELAXED);
  return hash;
}

uint32_t String::hashOf(std::string_view text) noexcept {
  // Eight bytes a step, folded by a 64 x 64 multiplication; never 0, which means "not computed".
  __extension__ using Wide = unsigned __int128;
  uint64_t state = 0x9e3779b97f4a7c15ull ^ text.size();
  const char* p = text.data();
  size_t left = text.size();
  auto mix = [&state](uint64_t word) {
    const auto product = static_cast<Wide>(state ^ word) * 0xff51afd7ed558ccdull;
    state = static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
  };
  for (; left >= 8; p += 8, left -= 8) {
    uint64_t word;
    std::memcpy(&word, p, 8);
    mix(word);
  }
  uint64_t tail = 0;
  if (left > 0) std::memcpy(&tail, p, left);
  mix(tail);
  const auto folded = static_cast<uint32_t>(state ^ (state >> 32));
  return folded != 0 ? folded : 1;
}

namespace {

// Names are short and stay: a slot has no header of its own.
bool goesToSlab(bool interned, size_t bytes) noexcept {
  constexpr size_t longest = 256;
  return interned && bytes <= longest;
}

}  // namespace

String::Block* String::newBlock(std::string_view text, bool interned) {
  if (text.size() > std::numeric_limits<uint32_t>::max() - sizeof(Block) - 1) {
    throw std::length_error("a string holds less than 4 GiB");
  }
  const size_t bytes = sizeof(Block) + text.size() + 1;
  void* memory = goesToSlab(interned, bytes) ? Morsa::slabAlloc(bytes) : std::malloc(bytes);
  if (!memory) throw std::bad_alloc();
  auto* block = new (memory)
      Block{RefCount(1), static_cast<uint32_t>(text.size()), 0, interned ? uint32_t{1} : 0};
  std::memcpy(block->text(), text.data(), text.size());
  block->text()[text.size()] = '\0';
  return block;
}

void String::freeBlock(Block* block) noexcept {
  if (goesToSlab(block->interned != 0, sizeof(Block) + block->size + 1)) {
    Morsa::slabFree(block);
  } else {
    std::free(block);
  }
}

void String::release(Block* block) noexcept {
  if (!block->references.drop()) return;
  if (block->interned) NamePool::instance().remove(block);
  freeBlock(block);
}

std::ostream& operator<<(std::ostream& os, const String& text) { return os << text.view(); }

}  // namespace Pelmo
