// Pictures in the documents are what the tool draws today; ./dev golden draws them again.
#include <gtest/gtest.h>

#include "Document.h"
#include "Session.h"

TEST(Pictures, AreDrawnFromTheExamples) {
  const std::vector<Command> commands = {{"export STP_SOCKET=socket"},
                                         {"stptool serve --load examples/four-ports.json &"},
                                         {"stptool graph /stp/status --svg"}};
  const Lines drawn = Session().outputs(commands).back();
  const std::string kept = std::string(ROOT) + "/docs/images/status.svg";
  if (isUpdating()) writeLines(kept, drawn);
  EXPECT_EQ(drawn, linesOf(kept));
}
