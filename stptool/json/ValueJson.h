// Values that are known by reflection only, as JSON and back.
#pragma once

#include <memory>

#include "Tovo/ValueOps.h"
#include "stptool/json/Json.h"
#include "stptool/model/ValueShape.h"

namespace stptool {

/// Numbers, bools and strings are native; an enumerator is its literal; an absent optional is null;
/// a list is an array; a record is an object of its fields, one of a single field that field's
/// value; a union is an object of the alternative that it holds; anything else is its text, or the
/// number that this text says.
///
/// A string that JSON cannot hold, or that starts with a single quote, is in single quotes with
/// \xHH for bytes.
Json toJson(const ValueShape& shape, const void* value);

/// Fields that do not occur keep their defaults. Throws JsonError.
std::unique_ptr<Tovo::ValueBuffer> fromJson(const ValueShape& shape, const Json& json,
                                            const JsonPlace& place);

/// A member's name as a key. Throws JsonError.
std::unique_ptr<Tovo::ValueBuffer> keyFromJson(const ValueShape& shape, const std::string& name,
                                               const JsonPlace& place);
std::string keyToJson(const ValueShape& shape, const void* key);

}  // namespace stptool
