#include "Forms.h"

#include <sys/socket.h>

#include <cstdio>
#include <span>
#include <stdexcept>
#include <vector>

#include "Filling.h"
#include "Mirror/Connection.h"
#include "Tovo/Directory.h"
#include "Tovo/Inspect.h"
#include "stptool/json/Dump.h"
#include "stptool/json/ValueJson.h"

namespace Golden {

namespace {

using Tovo::NboAttrLog::Connection;

std::string hex(std::span<const uint8_t> bytes) {
  std::string text;
  char digits[3];
  for (const uint8_t byte : bytes) {
    std::snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

void addValue(Forms& forms, const std::string& what, Tovo::TovoTypeBase type, const void* value) {
  const Tovo::ValueOps& ops = *Tovo::valueOps(type);
  std::vector<uint8_t> bytes(ops.attrLogSize(value));
  Tovo::NboAttrLog::Out out(bytes);
  ops.write(out, value);
  forms[what + " log"] = hex(bytes);
  forms[what + " text"] = Tovo::valueText(ops, value);
  forms[what + " json"] = stptool::toJson(stptool::shapeOf(type), value).dump();
}

void addEntity(Forms& forms, const std::string& what, Tovo::Directory& directory) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("socketpair");
  Tovo::Directory mirrored;
  Connection host(ends[0], directory);
  Connection guest(ends[1], mirrored);
  const auto turn = [&] {
    guest.flush();
    host.handleReadable();
    host.flush();
    guest.handleReadable();
    const std::string reason = host.closeReason() + guest.closeReason();
    if (!reason.empty()) throw std::runtime_error(reason);
  };
  // What both say first is the same for all.
  for (const uint32_t number = guest.questions().ping(); guest.questions().pongs() != number;)
    turn();
  size_t messages = 0;
  guest.incoming().appliedIs([&](std::span<const uint8_t> message) {
    char start[32];
    std::snprintf(start, sizeof start, " log %03zu", messages++);
    std::string& form = forms[what + start];
    std::snprintf(start, sizeof start, "%08zx", message.size());
    form = start + hex(message);
  });
  guest.guest().mount("/it", true);
  while (guest.guest().synced() == 0) turn();
  forms[what + " json"] = stptool::dumpEntity(*directory.mounted("/it")).dump();
}

}  // namespace

Forms formsOf(Tovo::TovoTypeBase type) {
  Forms forms;
  Filling filling(Tovo::typeName(type));
  if (Tovo::valueOps(type)) {
    Tovo::ValueBuffer initial(*Tovo::valueOps(type));
    initial.constructDefault();
    addValue(forms, "default", type, initial.get());
    addValue(forms, "filled", type, filling.value(type)->get());
    return forms;
  }
  Tovo::Directory directory;
  const Pelmo::Ptr<Tovo::Entity> entity = filling.entity(type, "it");
  directory.mount("/it", entity);
  addEntity(forms, "default", directory);
  filling.fill(*entity, *entity);
  addEntity(forms, "filled", directory);
  return forms;
}

}  // namespace Golden
