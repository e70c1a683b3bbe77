// Values of the standard model as JSON and back, through reflection only.
#include "stptool/json/ValueJson.h"

#include <gtest/gtest.h>

#include "Holds.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "stptool/model/ModelLibrary.h"

namespace stptool {
namespace {

class ValueJson : public testing::Test {
 protected:
  static void SetUpTestSuite() { loadModelLibraries({}); }

  static ValueShape shapeOfType(const std::string& name) {
    const Tovo::TovoTypeBase type = Tovo::typeByName(name);
    EXPECT_TRUE(type) << name;
    return {Tovo::valueOps(type), type, Tovo::PrimitiveCode::none};
  }
};

struct Form {
  const char* type;
  const char* text;
  const char* json;
};

TEST_F(ValueJson, WritesEachShapeAsPeopleExpectIt) {
  const Form forms[] = {
      {"Stp::PortState", "forwarding", R"("forwarding")"},
      {"Stp::PortPriority", "128", "128"},
      {"Stp::PortId", "Value('Stp::PortId', portPriority=128, portNumber=5)",
       R"({"portPriority":128,"portNumber":5})"},
      {"Stp::BridgeId",
       "Value('Stp::BridgeId', priority=4096, systemId=7, address=02:00:00:00:00:0a)",
       R"({"priority":4096,"systemId":7,"address":"02:00:00:00:00:0a"})"},
      {"Nelka::EthAddr", "ff:ff:ff:ff:ff:ff", R"("ff:ff:ff:ff:ff:ff")"},
      {"Stp::VlanIdOrRange", "Value('Stp::VlanIdOrRange', single=5)", R"({"single":5})"},
      {"Stp::VlanIdOrRange", "Value('Stp::VlanIdOrRange', range=2-9)", R"({"range":"2-9"})"},
  };
  for (const Form& form : forms) {
    SCOPED_TRACE(form.type);
    const ValueShape shape = shapeOfType(form.type);
    Tovo::ValueBuffer value(*shape.ops);
    Tovo::CharRange text(form.text);
    value.parse(text);
    EXPECT_EQ(toJson(shape, value.get()).dump(), form.json);
    const auto back = fromJson(shape, Json::parse(form.json), JsonPlace());
    EXPECT_EQ(Tovo::valueText(*shape.ops, back->get()), form.text);
  }
}

// A double, as which many readers of JSON take every number, holds those up to 2^53.
TEST_F(ValueJson, KeepsAllBitsOfAWideNumber) {
  const Tovo::ValueOps& ops = Tovo::primitiveOps(Tovo::PrimitiveCode::u64);
  const ValueShape shape{&ops, {}, Tovo::PrimitiveCode::u64};
  const auto read = [&](const char* json) {
    return *static_cast<const uint64_t*>(
        fromJson(shape, Json::parse(json), JsonPlace() / "at")->get());
  };
  for (const uint64_t number : {uint64_t{0}, (uint64_t{1} << 53) + 1, ~uint64_t{0}}) {
    const std::string json = toJson(shape, &number).dump();
    EXPECT_EQ(json, '"' + std::to_string(number) + '"');
    EXPECT_EQ(read(json.c_str()), number);
  }
  EXPECT_EQ(read("9007199254740991"), 9007199254740991u);
  for (const char* refused :
       {"9007199254740992", "1.0", "-1", R"("18446744073709551616")", R"("0x1")", R"("")"}) {
    EXPECT_THROW(read(refused), JsonError) << refused;
  }
}

struct Wrong {
  const char* type;
  const char* json;
  const char* message;
};

TEST_F(ValueJson, SaysWhereAndWhatIsAllowed) {
  const Wrong cases[] = {
      {"Stp::PortState", R"("blocking")", R"(/at: found "blocking"; allowed: one of "discarding")"},
      {"Stp::PortState", R"("forwardin")", "did you mean 'forwarding'?"},
      {"Stp::PortState", "2", R"(/at: found 2; allowed: one of "discarding")"},
      {"Stp::PortPriority", "1e3", "/at: found 1000.0"},
      {"Stp::PortPriority", "256", "/at: found 256; allowed: a whole number from 0 to 255"},
      {"Stp::PortPriority", "-1", "/at: found -1"},
      {"Stp::PortPriority", "1.0", "/at: found 1.0"},
      {"Stp::PortPriority", R"("1")", R"(/at: found "1")"},
      {"Stp::PortPriority", "null", "/at: found null"},
      {"Stp::PortId", "5", "/at: found 5; allowed: an object of Stp::PortId"},
      {"Stp::PortId", R"({"portNumber":4096})", "/at/portNumber: found 4096; allowed: 0 to 4095"},
      {"Stp::PortId", R"({"portnumber":1})", "/at/portnumber: Stp::PortId has no 'portnumber'"},
      {"Stp::VlanIdOrRange", R"({"single":1,"range":"1-2"})", "allowed: an object of one member"},
      {"Stp::VlanIdOrRange", R"({"double":1})", "/at/double: Stp::VlanIdOrRange has no 'double'"},
      {"Nelka::EthAddr", R"("ff:ff")", "/at: found 'ff:ff'"},
      {"Nelka::EthAddr", "7", "/at: found 7; allowed: the text of a Nelka::EthAddr"},
  };
  for (const Wrong& wrong : cases) {
    SCOPED_TRACE(std::string(wrong.type) + " " + wrong.json);
    try {
      fromJson(shapeOfType(wrong.type), Json::parse(wrong.json), JsonPlace() / "at");
      ADD_FAILURE() << "taken";
    } catch (const JsonError& error) {
      EXPECT_TRUE(holds(std::string(error.what()), wrong.message));
    }
  }
}

}  // namespace
}  // namespace stptool
