// Text to value to text: any text ends in a value that prints and reads back equal, in a range
// exception or in a stated assertion.
#include <cstdlib>
#include <string>

#include "Tovo/Exceptions.h"
#include "fuzz/ValueTypes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Tovo::ValueOps& ops = fuzz::chosenOps(data, size);
  Tovo::CharRange text({reinterpret_cast<const char*>(data), size});
  Tovo::ValueBuffer value(ops);
  try {
    value.parse(text);
  } catch (const Tovo::RangeException&) {
    return 0;
  } catch (const Tovo::AssertionError&) {
    return 0;
  }
  std::string printed;
  ops.print(printed, value.get());
  Tovo::CharRange again(printed);
  Tovo::ValueBuffer same(ops);
  same.parse(again);
  std::string printedAgain;
  ops.print(printedAgain, same.get());
  // Printed texts are compared, because a number that is none never equals itself.
  if (!again.empty() || printed != printedAgain) std::abort();
  return 0;
}
