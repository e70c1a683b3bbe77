// Bytes to value to bytes: any bytes end in a value whose encoding reads back to the same encoding
// and whose text, where it can be read, to the same text; or in a stream exception or in a stated
// assertion.
#include <cstdlib>
#include <string>
#include <vector>

#include "Tovo/Exceptions.h"
#include "fuzz/ValueTypes.h"

namespace {

std::vector<uint8_t> encoded(const Tovo::ValueOps& ops, const void* value) {
  std::vector<uint8_t> bytes(ops.attrLogSize(value));
  Tovo::NboAttrLog::Out out(bytes);
  ops.write(out, value);
  if (out.left() != 0) std::abort();
  return bytes;
}

// Numbers outside their range, or without a literal, are printed but not read.
void checkText(const Tovo::ValueOps& ops, const void* value) {
  std::string text;
  ops.print(text, value);
  Tovo::CharRange range(text);
  Tovo::ValueBuffer read(ops);
  try {
    read.parse(range);
  } catch (const Tovo::RangeException&) {
    return;
  } catch (const Tovo::AssertionError&) {
    return;
  }
  std::string printed;
  ops.print(printed, read.get());
  if (!range.empty() || printed != text) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Tovo::ValueOps& ops = fuzz::chosenOps(data, size);
  Tovo::NboAttrLog::In in({data, size});
  Tovo::ValueBuffer value(ops);
  try {
    value.read(in);
  } catch (const Tovo::StreamException&) {
    return 0;
  } catch (const Tovo::AssertionError&) {
    return 0;
  }
  const std::vector<uint8_t> bytes = encoded(ops, value.get());
  Tovo::NboAttrLog::In again(bytes);
  Tovo::ValueBuffer same(ops);
  same.read(again);
  if (again.remaining() != 0 || encoded(ops, same.get()) != bytes) std::abort();
  if (ops.hash && ops.equal(value.get(), same.get()) &&
      ops.hash(value.get()) != ops.hash(same.get())) {
    std::abort();
  }
  if (ops.less && ops.less(value.get(), same.get())) std::abort();
  checkText(ops, value.get());
  return 0;
}
