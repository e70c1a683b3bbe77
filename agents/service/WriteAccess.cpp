#include "agents/service/WriteAccess.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <stdexcept>

namespace service {

namespace {

std::optional<uint32_t> numberOf(const std::string& text) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  // The highest number stands for no user.
  if (error != std::errc() || end != text.data() + text.size() || number == UINT32_MAX) {
    return std::nullopt;
  }
  return number;
}

std::string userText(uid_t user) {
  const passwd* known = ::getpwuid(user);
  return "uid " + std::to_string(user) + (known ? std::string(" (") + known->pw_name + ")" : "");
}

std::string groupText(gid_t group) {
  const struct group* known = ::getgrgid(group);
  return "gid " + std::to_string(group) + (known ? std::string(" (") + known->gr_name + ")" : "");
}

template <class Number>
void add(std::vector<Number>& numbers, Number number) {
  if (std::find(numbers.begin(), numbers.end(), number) == numbers.end()) numbers.push_back(number);
}

}  // namespace

WriteAccess::WriteAccess(uid_t owner) : users_{0} { add(users_, owner); }

void WriteAccess::allow(const std::string& rule) {
  const std::string kind = rule.substr(0, 4);
  const std::string who = rule.size() > 4 ? rule.substr(4) : std::string();
  if ((kind != "uid:" && kind != "gid:") || who.empty()) {
    throw std::invalid_argument("'" + rule + "' names nobody who may write; allowed: " +
                                "uid:NUMBER, uid:NAME, gid:NUMBER, gid:NAME");
  }
  const std::optional<uint32_t> number = numberOf(who);
  if (kind == "uid:") {
    const passwd* known = number ? nullptr : ::getpwnam(who.c_str());
    if (!number && !known) throw std::invalid_argument("'" + rule + "': there is no such user");
    add(users_, number ? uid_t{*number} : known->pw_uid);
  } else {
    const struct group* known = number ? nullptr : ::getgrnam(who.c_str());
    if (!number && !known) throw std::invalid_argument("'" + rule + "': there is no such group");
    add(groups_, number ? gid_t{*number} : known->gr_gid);
  }
}

bool WriteAccess::allows(const PeerCredentials& peer) const noexcept {
  const auto known = [&](gid_t group) {
    return std::find(groups_.begin(), groups_.end(), group) != groups_.end();
  };
  return std::find(users_.begin(), users_.end(), peer.uid) != users_.end() || known(peer.gid) ||
         std::any_of(peer.groups.begin(), peer.groups.end(), known);
}

std::string WriteAccess::refusal(const PeerCredentials& peer) const {
  std::string text = userText(peer.uid) + " may not write here; allowed:";
  const char* separator = " ";
  for (const uid_t user : users_) {
    text += separator + userText(user);
    separator = ", ";
  }
  for (const gid_t group : groups_) text += separator + groupText(group);
  return text;
}

}  // namespace service
