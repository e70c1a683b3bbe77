// The module record of the interface types.
#pragma once

#include "Tovo/Module.h"

extern "C" {
extern const Tovo::TovoModule _Intf_9f670657c72a539c_tovoModule;
}
