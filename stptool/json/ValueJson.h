// Values that are known by reflection only, as JSON and back.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Tovo/ValueOps.h"
#include "stptool/json/Json.h"
#include "stptool/model/ValueShape.h"

namespace stptool {

/// Numbers, bools and strings are native; an enumerator is its literal, or its number where it has
/// none; an absent optional is null; a list is an array; a record is an object of its fields, one
/// of a single field that field's value; a union is an object of the alternative that it holds;
/// anything else is its text, or the number that this text says. Seconds that are not finite are
/// text: "inf", "-inf", "nan".
///
/// A string that cannot be shown, or that starts with a single quote, is in single quotes with \xHH
/// for bytes.
Json toJson(const ValueShape& shape, const void* value);

/// Told of a value that only the attribute log brings: outside its range, a number where an
/// enumeration has no literal, seconds that are not finite. Throws the error, or lets the value be
/// taken as it is.
using OutOfRange = std::function<void(const JsonError& error)>;
/// An edit takes none of them.
void refuse(const JsonError& error);

/// Fields that do not occur keep their defaults. Throws JsonError.
std::unique_ptr<Tovo::ValueBuffer> fromJson(const ValueShape& shape, const Json& json,
                                            const JsonPlace& place,
                                            const OutOfRange& outOfRange = refuse);

/// A member's name as a key. Throws JsonError.
std::unique_ptr<Tovo::ValueBuffer> keyFromJson(const ValueShape& shape, const std::string& name,
                                               const JsonPlace& place,
                                               const OutOfRange& outOfRange = refuse);
std::string keyToJson(const ValueShape& shape, const void* key);

}  // namespace stptool
