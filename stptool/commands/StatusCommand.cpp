// stptool status: how a server and its connections are.
#include <cstdio>
#include <string>

#include "Tovo/Printable.h"
#include "stptool/commands/Commands.h"
#include "stptool/json/Json.h"
#include "stptool/output/Output.h"
#include "stptool/text/Table.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

// "4.2 s", "3 min", "2 h".
std::string span(double seconds) {
  char text[32];
  if (seconds < 120) {
    std::snprintf(text, sizeof text, "%.1f s", seconds);
  } else if (seconds < 7200) {
    std::snprintf(text, sizeof text, "%.0f min", seconds / 60);
  } else {
    std::snprintf(text, sizeof text, "%.0f h", seconds / 3600);
  }
  return text;
}

// "812", "64.0 Ki", "1.5 Mi".
std::string bytes(uint64_t count) {
  if (count < 1024) return std::to_string(count);
  const bool large = count >= 1024 * 1024;
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", static_cast<double>(count) / (large ? 1048576 : 1024),
                large ? "Mi" : "Ki");
  return text;
}

std::string number(const Json& object, const char* key) {
  return std::to_string(object.at(key).get<uint64_t>());
}

// "3 + 1", or nothing.
std::string pair(const Json& object, const char* first, const char* second) {
  const auto a = object.at(first).get<uint64_t>();
  const auto b = object.at(second).get<uint64_t>();
  return a + b == 0 ? std::string() : std::to_string(a) + " + " + std::to_string(b);
}

std::string connectionTable(const Json& connections) {
  Table table;
  table.header({"", "pid", "uid", "age", "entities", "dirty", "held", "waiting", "memory", "in",
                "out", "unknown", "refused", "mounts"});
  for (const Json& one : connections) {
    std::string mounts;
    for (const Json& mount : one.at("mounts")) {
      mounts += (mounts.empty() ? "" : " ") + Tovo::printable(mount.at("path").get<std::string>()) +
                (mount.at("readOnly").get<bool>() ? "" : " (rw)");
    }
    const auto refused = one.at("refused").get<uint64_t>();
    const auto moved = [&](const char* messages, const char* octets) {
      return number(one, messages) + " / " + bytes(one.at(octets).get<uint64_t>());
    };
    table.row({"#" + number(one, "number"), number(one, "pid"), number(one, "uid"),
               span(one.at("seconds").get<double>()), number(one, "entities"),
               pair(one, "dirtyAttributes", "dirtyKeys"),
               bytes(one.at("bytesHeld").get<uint64_t>()),
               bytes(one.at("bytesWaiting").get<uint64_t>()),
               bytes(one.at("bytes").get<uint64_t>()), moved("messagesIn", "bytesIn"),
               moved("messagesOut", "bytesOut"), pair(one, "unknownAttributes", "unknownEntities"),
               refused == 0 ? std::string() : std::to_string(refused), mounts});
  }
  return table.text();
}

std::string statusText(const Json& status) {
  const auto count = [](uint64_t value, const char* what) {
    return words::counted(value, what, std::string(what) + "s");
  };
  std::string text = Tovo::printable(status.at("socket").get<std::string>()) + ": pid " +
                     number(status, "pid") + ", up " + span(status.at("seconds").get<double>()) +
                     ", " + count(status.at("roots").get<uint64_t>(), "root") + ", " +
                     count(status.at("connections").size(), "connection") + " of " +
                     number(status, "accepted") + " so far, " +
                     count(status.at("refused").get<uint64_t>(), "refused request") + "\n";
  std::string closed;
  for (const auto& [reason, times] : status.at("closed").items()) {
    closed += (closed.empty() ? "" : ", ") + std::to_string(times.get<uint64_t>()) + " " +
              Tovo::printable(reason);
  }
  if (!closed.empty()) text += "closed: " + closed + "\n";
  const Json& limits = status.at("limits");
  const auto turnedAway = status.at("turnedAway").get<uint64_t>();
  const auto sized = [](const Json& object, const char* key) {
    return bytes(object.at(key).get<uint64_t>());
  };
  text += "memory: " + sized(status, "bytes") + ", at most " + sized(status, "mostBytes") +
          " so far\nlimits: " + count(limits.at("clients").get<uint64_t>(), "connection") + ", " +
          number(limits, "clientsOfOneUser") + " of one user, memory " + sized(limits, "bytes") +
          ", " + sized(limits, "bytesOfOneUser") + " of one user" +
          (turnedAway == 0 ? "" : "; turned away: " + std::to_string(turnedAway)) + "\n";
  for (const Json& note : status.at("notes")) {
    text += "note: " + Tovo::printable(note.get<std::string>()) + "\n";
  }
  return text + connectionTable(status.at("connections"));
}

}  // namespace

void runStatus(const StatusOptions& options) {
  ClientSession session(options.session);
  const std::string text = session.status();
  try {
    const Json status = Json::parse(text);
    writeOut(options.json ? jsonText(status, 2) + "\n" : statusText(status));
  } catch (const Json::exception&) {
    throw Failure(options.session.socket + ": the answer is no status of a server of this tool");
  }
}

}  // namespace stptool
