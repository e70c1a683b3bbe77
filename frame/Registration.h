// How a generated module makes itself known.
#pragma once

#include <ios>

#include "Tovo/Module.h"

namespace Frame {

/// One static object a module: sets up the standard streams, then registers the record.
class Registration {
 public:
  explicit Registration(const Tovo::TovoModule& module) { Tovo::tovoModuleIs(&module); }

 private:
  std::ios_base::Init streams_;
};

}  // namespace Frame
