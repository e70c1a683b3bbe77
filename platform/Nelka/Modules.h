// The module records of the network types.
#pragma once

#include "Tovo/Module.h"

extern "C" {
extern const Tovo::TovoModule _EthAddr_5ea519cab6df4342_tovoModule;
extern const Tovo::TovoModule _NetU_4b711a431b8364f1_tovoModule;
extern const Tovo::TovoModule _IntfId_638f3da9b062f5a9_tovoModule;
}
