#include "Mirror/control/Messages.h"

#include <algorithm>
#include <vector>

#include "Tovo/Module.h"

namespace Tovo::NboAttrLog::Control {

size_t Modules::size(View) {
  size_t size = sizeof(uint16_t);
  for (const TovoModule* module : tovoModules()) {
    size += Text::size(moduleName(*module)) + Text::size(moduleHash(*module));
  }
  return size;
}

void Modules::write(Out& out, View) {
  out << static_cast<uint16_t>(tovoModules().size());
  for (const TovoModule* module : tovoModules()) {
    Text::write(out, moduleName(*module));
    Text::write(out, moduleHash(*module));
  }
}

size_t Roots::size(View roots) noexcept {
  size_t size = sizeof(uint32_t);
  for (const Root& each : roots) size += Text::size(each.path) + Text::size(each.type);
  return size;
}

void Roots::write(Out& out, View roots) {
  out << static_cast<uint32_t>(roots.size());
  for (const Root& each : roots) {
    Text::write(out, each.path);
    Text::write(out, each.type);
  }
}

namespace {

template <class... Fields>
Row row(const Message<Fields...>& message) {
  std::string payload;
  size_t place = 0;
  [[maybe_unused]] const auto add = [&](std::string_view type) {
    const std::string_view label = message.labels[place++];
    payload.append(payload.empty() ? "" : ", ").append(type);
    if (!label.empty()) payload.append(" ").append(label);
  };
  (add(Fields::type), ...);
  return {message.id, message.name, payload};
}

}  // namespace

std::span<const Row> rows() {
  static const std::vector<Row> all = {
      row(greeting),  row(goodBye),      row(askMounts),  row(mounts), row(mount), row(mounted),
      row(refused),   row(create),       row(turn),       row(ping),   row(pong),  row(taken),
      row(unmounted), row(readOnly),     row(askStatus),  row(status), row(time),  row(createWith),
      row(remove),    row(followMounts), row(someMounts), row(root)};
  return all;
}

std::string nameOf(AttributeId id) {
  const std::span<const Row> all = rows();
  const auto at =
      std::find_if(all.begin(), all.end(), [&](const Row& row) { return row.id == id; });
  return at == all.end() ? "control " + std::to_string(id) : std::string(at->name);
}

}  // namespace Tovo::NboAttrLog::Control
