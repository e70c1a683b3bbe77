// What the clients of a server may take.
#pragma once

#include <cstddef>

namespace service {

/// How many clients there may be, and how many bytes their connections may hold. Who comes or
/// holds more is told so, and goes.
struct ClientLimits {
  size_t all = 2048;
  size_t ofOneUser = 1024;
  size_t bytes = size_t{1024} << 20;
  size_t bytesOfOneUser = size_t{512} << 20;
};

}  // namespace service
