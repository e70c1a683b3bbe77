// Messages about a carried entity that are none of its type's.
#pragma once

#include "Tovo/Types.h"

namespace Tovo::NboAttrLog {

/// Their ids.
namespace BaseMessage {
constexpr AttributeId beginCollection = 1;  ///< U16 collection: a whole transfer starts
constexpr AttributeId endCollection = 2;    ///< U16 collection: what was not mentioned is gone
constexpr AttributeId values = 3;  ///< U16 first, U16 last, the values of these and between
}  // namespace BaseMessage

}  // namespace Tovo::NboAttrLog
