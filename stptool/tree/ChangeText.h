// One change of a tree, in words and as JSON.
#pragma once

#include <optional>
#include <string>

#include "Pelmo/Publisher.h"
#include "stptool/json/Json.h"

namespace stptool {

struct ChangeEvent {
  enum class Kind { set, insert, remove } kind;
  std::string path;  ///< of the entity; of the element itself where one came or went
  std::string attribute;
  std::string key;  ///< of an entry that is no entity
  // Empty texts where a side has no value. JSON only where it was asked for.
  std::string before;
  std::string after;
  Json jsonBefore;
  Json jsonAfter;
};

/// What an observer was told; none for a change that no attribute shows. `path` is that of the
/// entity where the caller knows it: finding it costs more than all the rest.
std::optional<ChangeEvent> changeEvent(const Pelmo::Change& change, bool withJson,
                                       const std::string* path = nullptr);

/// Down to the attribute and the key.
std::string wholePath(const ChangeEvent& event);

/// "/stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet1  portState  learning -> forwarding", "+ /path",
/// "- /path".
std::string changeText(const ChangeEvent& event);

/// Adds "change", "path", "attribute", "key", "old" and "new", those that there are.
void addChange(Json& json, const ChangeEvent& event);

}  // namespace stptool
