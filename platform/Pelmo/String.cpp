#include "Pelmo/String.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <ostream>
#include <stdexcept>
#include <unordered_set>

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
    const Name name{text, String::hashOf(text)};
    Guard guard(*this);
    auto it = blocks_.find(name);
    if (it != blocks_.end() && (*it)->references.addUnlessGone()) return *it;
    String::Block* block = String::newBlock(text);
    block->interned = 1;
    block->hash = name.hash;
    // A block that another thread is just letting go stands aside for the new one.
    if (it != blocks_.end()) blocks_.erase(it);
    try {
      blocks_.insert(block);
    } catch (...) {
      std::free(block);
      throw;
    }
    return block;
  }

  void remove(String::Block* block) noexcept {
    Guard guard(*this);
    auto it = blocks_.find(nameOf(block));
    if (it != blocks_.end() && *it == block) blocks_.erase(it);
  }

 private:
  struct Guard {
    explicit Guard(NamePool& pool) : lock(pool.mutex_, std::defer_lock) {
      if (ThreadControl::tsp_) lock.lock();
    }
    std::unique_lock<std::mutex> lock;
  };
  struct Name {
    std::string_view text;
    uint32_t hash;
  };
  static Name nameOf(const Name& name) noexcept { return name; }
  static Name nameOf(const String::Block* block) noexcept {
    return {{block->text(), block->size}, block->hash};
  }
  struct Hash {
    using is_transparent = void;
    size_t operator()(const auto& each) const noexcept { return nameOf(each).hash; }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const auto& a, const auto& b) const noexcept {
      return nameOf(a).hash == nameOf(b).hash && nameOf(a).text == nameOf(b).text;
    }
  };

  std::mutex mutex_;
  std::unordered_set<String::Block*, Hash, Equal> blocks_;
};

String::String(std::string_view text) {
  if (!text.empty()) block_ = newBlock(text);
}

String String::interned(std::string_view text) {
  String result;
  if (!text.empty()) result.block_ = NamePool::instance().find(text);
  return result;
}

String String::interned(const String& text) {
  return !text.block_ || text.block_->interned ? text : interned(text.view());
}

uint32_t String::hash() const noexcept {
  if (!block_) return hashOf({});
  uint32_t known = __atomic_load_n(&block_->hash, __ATOMIC_RELAXED);
  if (known == 0) {
    known = hashOf(view());
    __atomic_store_n(&block_->hash, known, __ATOMIC_RELAXED);
  }
  return known;
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

String::Block* String::newBlock(std::string_view text) {
  if (text.size() > std::numeric_limits<uint32_t>::max() - sizeof(Block) - 1) {
    throw std::length_error("a string holds less than 4 GiB");
  }
  void* memory = std::malloc(sizeof(Block) + text.size() + 1);
  if (!memory) throw std::bad_alloc();
  auto* block = new (memory) Block{RefCount(1), static_cast<uint32_t>(text.size()), 0, 0};
  std::memcpy(block->text(), text.data(), text.size());
  block->text()[text.size()] = '\0';
  return block;
}

void String::release(Block* block) noexcept {
  if (!block->references.drop()) return;
  if (block->interned) NamePool::instance().remove(block);
  std::free(block);
}

std::ostream& operator<<(std::ostream& os, const String& text) {
  return os.write(text.data(), text.size());
}

}  // namespace Pelmo
