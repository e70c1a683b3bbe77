// An entity that is mirrored from now on, as its host says it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Mirror/log/ConstructorValues.h"
#include "Mirror/log/StreamAdapter.h"
#include "Tovo/Directory.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

/// Whether this process knows an entity type of that name.
bool isKnownEntityType(std::string_view name) noexcept;

/// Something of a type that is not known here, under a path that a peer or a recording names.
class UnknownTypeException : public StreamException {
 public:
  UnknownTypeException(std::string_view who, const std::string& path, std::string_view type);
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

/// The payload of the message. Owns its values.
struct Mounted {
  /// Throws StreamException; UnknownTypeException for a type that is not known here.
  Mounted(In& in, std::string_view who);

  /// Makes it a guest's root in the directory. An entity under the path that is of the same type
  /// and constructor values is gone on with; another one is unmounted. Throws StreamException, and
  /// PathException when nothing can be mounted there.
  Pelmo::Ptr<Entity> bind(StreamAdapter& adapter, Directory& directory) const;
  /// Whether the entity could have been this one.
  bool match(const Entity& entity) const {
    return entity.tovoType() == type && values.match(entity);
  }

  std::string path;
  bool readOnly;
  TovoTypeBase type;
  uint32_t number;  ///< as the sender says it
  ConstructorValues values;
};

}  // namespace Tovo::NboAttrLog
