#include <exception>
#include <iostream>

#include "tdc/Tool.h"
#include "tdc/emit/Emit.h"

int main(int argc, char** argv) {
  try {
    return tdc::run({argv + 1, argv + argc}, {tdc::emitHeader, tdc::emitSource}, std::cout,
                    std::cerr);
  } catch (const std::exception& error) {
    std::cerr << "tdc: " << error.what() << "\n";
    return 2;
  }
}
