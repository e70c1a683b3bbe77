#include "Tovo/ValueOps.h"

#include "Tovo/Exceptions.h"

namespace Tovo::Impl {

void throwWideEnumerator(uint32_t number, const NboAttrLog::In& in) {
  throw StreamException("the enumerator " + std::to_string(number) + " at byte " +
                        std::to_string(in.position() - 4) + "; at most 254 fits its one byte");
}

}  // namespace Tovo::Impl
