// The tree as an operator reads it.
#include <gtest/gtest.h>

#include "RunningServer.h"
#include "stptool/text/Wrap.h"

namespace {

// One instance of a switch whose third port is held back by root guard.
const char* const statusJson = R"({"mounts": {"/stp/status": {
  "type": "Stp::Status", "name": "status", "version": "mstp",
  "mstpConfigDigest": {"configDigest0": 172, "configDigest15": 1},
  "vlanMembershipDesired": {"Ethernet1": true, "Ethernet2": false},
  "vlanMembership": {"Ethernet1": {"vids": {"1": true, "2": true, "3": true, "10": true}}},
  "stpiStatus": {"Mstp": {
    "bridgeTimes": {"maxAge": {"seconds": 20, "fraction": 0}, "remainingHops": 20},
    "mstiStatus": {"Mst1": {
      "instanceId": 1,
      "designatedRoot": {"priority": 4096, "systemId": 1, "address": "00:00:5e:00:53:01"},
      "rootPathCost": 2000,
      "rootPort": "/stp/status/stpiStatus/Mstp/mstiStatus/Mst1/mstiPortStatus/Ethernet10",
      "mstiPortStatus": {
        "Ethernet10": {"enabledNonce": 0, "role": "root", "state": "forwarding",
          "portId": {"portPriority": 128, "portNumber": 10}, "operIntPathCost": 2000,
          "fdbFlush": 4},
        "Ethernet2": {"enabledNonce": 0, "role": "designated", "state": "forwarding",
          "portId": {"portPriority": 128, "portNumber": 2}},
        "Ethernet3": {"enabledNonce": 0, "role": "designated",
          "portId": {"portPriority": 128, "portNumber": 3}, "guardStatus": "rootGuardEnabled",
          "rootGuardInconsistent": true}
      }}}}}}}})";

class StatusTree : public testing::Test {
 protected:
  StatusTree() : server_({folder_.write("status.json", statusJson)}) {}
  std::string tree(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> arguments{"tree", "/stp/status"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return server_.output(arguments);
  }

  TemporaryFolder folder_;
  RunningServer server_;
};

TEST_F(StatusTree, ReadsFromTheInstanceDownToItsPorts) {
  EXPECT_EQ(tree(), R"(/stp/status  Stp::Status
  version                mstp
  mstpConfigDigest       ac000000000000000000000000000001
  vlanMembershipDesired  Ethernet1,Ethernet2=false
  stpiStatus  1 Stp::StpiStatus
    Mstp
      bridgeTimes  messageAge=0.0 maxAge=20.0 fwdDelay=0.0 helloTime=0.0 remainingHops=20
      mstiStatus  1 Stp::MstiStatus
        Mst1
          instanceId      1
          designatedRoot  4096.1.00:00:5e:00:53:01
          rootPathCost    2000
          rootPort        Ethernet10
          mstiPortStatus  3 Stp::MstiPortStatus
                                                                          oper
                                                                          Int
                                                                          Path  fdb    rootGuard
                        state       role        guardStatus       portId  Cost  Flush  Inconsistent
            Ethernet2   forwarding  designated  guardDisabled     128.2   1     0      -
            Ethernet3   discarding  designated  rootGuardEnabled  128.3   1     0      yes
            Ethernet10  forwarding  root        guardDisabled     128.10  2000  4      -
  vlanMembership  1 Stp::VlanMembership
               vids
    Ethernet1  1-3,10
)");
}

TEST_F(StatusTree, LeavesOutNothingOnRequest) {
  const std::string all = tree({"--all"});
  for (const char* line :
       {"  stable                             false\n", "      cistPathCost  1\n",
        "  backupIntfStatus  0 Stp::BackupIntfStatus\n"}) {
    EXPECT_TRUE(holds(all, line));
  }
  EXPECT_EQ(tree().find("stable "), std::string::npos);
  const std::string port = "/stp/status/stpiStatus/Mstp/mstiStatus/Mst1/mstiPortStatus/Ethernet2";
  const std::string part = server_.output({"dump", port});
  EXPECT_TRUE(holds(part, "\"instanceId\": 1")) << "what those above it are made with";
  EXPECT_FALSE(holds(server_.output({"dump", "/stp/status/vlanMembership"}), "intfId"))
      << "its key";
}

TEST_F(StatusTree, HasTextThatReadsBackOnRequest) {
  const std::string full = tree({"--full"});
  EXPECT_TRUE(holds(full,
                    "designatedRoot  Value('Stp::BridgeId', priority=4096, systemId=1, "
                    "address=00:00:5e:00:53:01)\n"));
  EXPECT_TRUE(holds(full,
                    "rootPort        /stp/status/stpiStatus/Mstp/mstiStatus/Mst1/mstiPortStatus/"
                    "Ethernet10\n"));
}

// Whatever happens to be set, nothing is wider than it has to be and nothing gets lost.
TEST_F(StatusTree, PutsBelowTheRowWhatDoesNotFit) {
  const std::string port = "/stp/status/stpiStatus/Mstp/mstiStatus/Mst1/mstiPortStatus/Ethernet2";
  std::vector<std::string> set{"set", port};
  for (const std::string& flag :
       words("sync synced proposing proposed agree agreed disputed learn forward reRooted tcProp "
             "sendMaster mastered updtInfo selected inconsistentUpdated rcvdTc reRoot")) {
    set.insert(set.end(), {flag, "true"});
  }
  set.insert(set.end(), {"msgTimes",
                         "Value('Stp::TimesVector', messageAge=Value('Stp::TimerVal', "
                         "seconds=1, fraction=0), maxAge=Value('Stp::TimerVal', "
                         "seconds=20, fraction=0), fwdDelay=Value('Stp::TimerVal', "
                         "seconds=15, fraction=0), helloTime=Value('Stp::TimerVal', "
                         "seconds=2, fraction=0), remainingHops=19)"});
  ASSERT_EQ(server_.output(set), "");
  const std::string text = tree();
  for (const std::string& line : stptool::linesOf(text)) EXPECT_LE(line.size(), 120u) << line;
  EXPECT_TRUE(holds(text,
                    "msgTimes=(messageAge=1.0 maxAge=20.0 fwdDelay=15.0 helloTime=2.0 "
                    "remainingHops=19)"));
  // The ports' states stay in the table.
  EXPECT_TRUE(holds(text, "Ethernet2   forwarding  designated"));
  const size_t below = text.find("=true");
  ASSERT_NE(below, std::string::npos) << "flags that do not fit";
  EXPECT_GT(below, text.find("Ethernet2   forwarding"));
}

TEST(Wrap, BreaksNamesAtCapitalsAndTextsAtBlanks) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(stptool::brokenName("rootGuardInconsistent", 12), (Lines{"rootGuard", "Inconsistent"}));
  EXPECT_EQ(stptool::brokenName("rootGuardInconsistent", 0),
            (Lines{"root", "Guard", "Inconsistent"}));
  EXPECT_EQ(stptool::brokenName("rootGuard", 9), (Lines{"rootGuard"}));
  EXPECT_EQ(stptool::brokenName("state", 3), (Lines{"state"}));
  EXPECT_EQ(stptool::wrapped(std::string("aa bb cc"), 5), (Lines{"aa bb", "cc"}));
  EXPECT_EQ(stptool::wrapped(std::string("aaaaaaaa b"), 5), (Lines{"aaaaaaaa", "b"}));
  EXPECT_EQ(stptool::wrapped(std::string(), 5), (Lines{""}));
}

}  // namespace
