// The module record of the bridging types.
#pragma once

#include "Tovo/Module.h"

extern "C" {
extern const Tovo::TovoModule _VlanId_e770293df0b4c7dc_tovoModule;
}
