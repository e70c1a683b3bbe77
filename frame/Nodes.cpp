#include "frame/Nodes.h"

namespace Frame {

namespace {
Tovo::AllocTrackTypeInfo collectionNodes("collection nodes");
}  // namespace

void* NodeMemory::operator new(size_t size) {
  return Tovo::trackedAlloc(collectionNodes, {}, size);
}

void NodeMemory::operator delete(void* node, size_t size) noexcept {
  Tovo::trackedFree(collectionNodes, {}, node, size);
}

}  // namespace Frame
