// Where output goes: files of each kind, full disks, readers that come late or go.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>

#include "RunningServer.h"
#include "stptool/output/Failure.h"
#include "stptool/output/OutputFile.h"

namespace {

namespace fs = std::filesystem;
using stptool::OutputFile;

mode_t modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode;
}

// By a link: should the tool replace what it is given, the machine keeps its device.
std::string deviceIn(const TemporaryFolder& folder, const std::string& device) {
  const std::string link = folder.file("device");
  fs::create_symlink(device, link);
  return link;
}

size_t filesIn(const TemporaryFolder& folder) {
  return static_cast<size_t>(std::distance(fs::directory_iterator(folder.file("")), {}));
}

TEST(OutputFile, ReplacesAFileWithItsModeAtOnceOrNotAtAll) {
  const TemporaryFolder folder;
  const std::string file = folder.write("file", "old");
  ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
  fs::create_symlink("file", folder.file("link"));
  std::ifstream reader(file);
  stptool::writeFile(folder.file("link"), "new");
  EXPECT_EQ(readFile(file), "new");
  EXPECT_EQ(modeOf(file), mode_t{S_IFREG | 0640});
  EXPECT_TRUE(S_ISLNK(modeOf(folder.file("link"))));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old") << "who had it open";

  // What writes it fails half-way.
  const auto half = [&](const std::string& path) {
    stptool::writeFile(path, [](const auto& take) {
      take("half");
      throw stptool::Failure("the other half is missing");
    });
  };
  for (const char* name : {"link", "none"}) EXPECT_THROW(half(folder.file(name)), stptool::Failure);
  EXPECT_EQ(readFile(file), "new");
  EXPECT_EQ(filesIn(folder), 2u) << "nothing is left over";

  // A link that leads to nothing yet.
  fs::create_symlink("later", folder.file("early"));
  stptool::writeFile(folder.file("early"), "there");
  EXPECT_EQ(readFile(folder.file("later")), "there");
  EXPECT_TRUE(S_ISLNK(modeOf(folder.file("early"))));
}

TEST(OutputFile, KeepsOwnerAndGroupWherePermitted) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  const TemporaryFolder folder;
  const std::string file = folder.write("file", "old");
  ASSERT_EQ(::chown(file.c_str(), 12345, 54321), 0);
  ASSERT_EQ(::chmod(file.c_str(), 04750), 0);
  stptool::writeFile(file, "new");
  struct stat status {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12345u);
  EXPECT_EQ(status.st_gid, 54321u);
  EXPECT_EQ(status.st_mode & 07777, 04750u);
}

TEST(OutputFile, GrowsInItsPlaceFromWhenItIsShown) {
  const TemporaryFolder folder;
  const std::string file = folder.write("file", "old");
  {
    OutputFile output(file);
    output.write("1");
    EXPECT_EQ(readFile(file), "old");
    output.show();
    output.write("2");
    EXPECT_EQ(readFile(file), "12");
  }
  EXPECT_EQ(readFile(file), "12");
  EXPECT_THROW(OutputFile(file, OutputFile::Existing::refuse), stptool::Failure);
  EXPECT_EQ(readFile(file), "12");
  OutputFile::check(file);
  OutputFile::check(folder.file("other"));
  EXPECT_THROW(OutputFile::check(folder.file("no/folder")), stptool::Failure);
  EXPECT_EQ(filesIn(folder), 1u) << "a check leaves nothing";
}

TEST(DumpAtEnd, WritesToADeviceAndAFifoAndLeavesThemWhatTheyAre) {
  RunningServer server;
  const std::string dump = server.dump();
  const auto watchInto = [&](const std::string& path) {
    return server.run({"watch", "--for", "0", "--dump-at-end", path});
  };
  const std::string device = deviceIn(server.folder(), "/dev/null");
  EXPECT_EQ(watchInto(device).code, 0);
  EXPECT_TRUE(S_ISLNK(modeOf(device)));
  const std::string fifo = server.folder().file("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  auto read = std::async(std::launch::async, [&] { return readFile(fifo); });
  EXPECT_EQ(watchInto(fifo).code, 0);
  EXPECT_EQ(read.get(), dump);
  EXPECT_TRUE(S_ISFIFO(modeOf(fifo)));
  const Ended folder = watchInto("/");
  EXPECT_EQ(folder.code, 5);
  EXPECT_EQ(folder.err, "stptool: /: cannot be written: Is a directory\n") << "before it watches";

  // Nobody reads: a signal ends the wait.
  const auto record = server.start({"record", fifo});
  const auto watch = server.watch({"--for", "0", "--dump-at-end", fifo});
  EXPECT_EQ(watch->stop().code, 1);
  EXPECT_EQ(record->stop().code, 1);

  // The file that standard output is.
  const std::string both = server.folder().write("both", "");
  const Ended ended = Tool(Tool::into(both, {"watch", "--socket", server.socket(), "--json",
                                             "--for", "0", "--rate", "--dump-at-end", both}))
                          .end();
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_TRUE(readFile(both).starts_with("{\"time\"")) << readFile(both).substr(0, 100);
  EXPECT_TRUE(readFile(both).ends_with("}\n" + dump));
}

TEST(FullDisk, EndsEveryCommandWithACodeOfItsOwn) {
  RunningServer server;
  const std::string recording = server.folder().file("some.rec");
  const std::string json = server.folder().write("some.json", server.dump());
  EXPECT_EQ(server.run({"record", recording, "--until-idle", "0.2"}).code, 0);
  const std::string port = portPath("Ethernet1");
  const std::string on = " --socket " + server.socket() + "\n";
  std::istringstream commands(
      "--help\ntypes --help\nman\ncomplete t\ntypes\ntypes Stp::Hw --json\n"
      "parse Stp::PathCost 1\nencode Stp::PathCost 1\ndecode Stp::PathCost 00000001\n"
      "graph --types\ndecode " +
      recording + "\nreplay " + recording +
      " --fast\n"
      "status" +
      on + "tree" + on + "get " + port + on + "set " + port + " active false --json" + on +
      "new /stp/lab Stp::Hw --json" + on + "del /stp/lab --json" + on + "dump" + on + "dump " +
      port + on + "graph --svg" + on + "load " + json + " --json" + on + "record " + recording +
      " --force --json --for 0" + on + "watch --rate --for 0" + on);
  for (std::string command; std::getline(commands, command);) {
    EXPECT_TRUE(complains(Tool(Tool::into("/dev/full", words(command))).end(), 5,
                          "cannot write to standard output: No space left on device"))
        << command;
  }
  const std::string full = deviceIn(server.folder(), "/dev/full");
  EXPECT_EQ(server.run({"record", full, "--for", "0"}).code, 5);
  EXPECT_EQ(server.run({"watch", "--for", "0", "--dump-at-end", full}).code, 5);
}

// Neither a fault of the server nor one to try again after.
TEST(FullDisk, EndsAWatchAtItsFirstChange) {
  RunningServer server;
  const std::string mirror = server.folder().file("mirror.json");
  Tool watch(
      Tool::into("/dev/full", {"watch", "--socket", server.socket(), "--dump-at-end", mirror}));
  ASSERT_TRUE(watch.complains("watching"));
  server.output({"set", portPath("Ethernet1"), "active", "false"});
  const Ended ended = watch.end();
  EXPECT_EQ(ended.code, 5);
  EXPECT_EQ(ended.err, "stptool: watching everything on " + server.socket() +
                           "\nstptool: cannot write to standard output: No space left on device\n");
  EXPECT_EQ(readFile(mirror), server.dump()) << "on another disk";
}

TEST(DumpAtEnd, HasWhatWasMirroredLastWhenTheServerIsAway) {
  RunningServer server;
  const std::string file = server.folder().file("mirror.json");
  const std::string dump = server.dump();
  const auto watch = server.watch({"--dump-at-end", file});
  server.kill();
  ASSERT_TRUE(watch->complains("it is made again"));
  EXPECT_TRUE(complains(watch->stop(), 0, file + " gets what was mirrored last\n"));
  EXPECT_EQ(readFile(file), dump);
}

TEST(DumpAtEnd, IsWrittenAfterARefusal) {
  RunningServer server;
  const std::string file = server.folder().file("mirror.json");
  const auto watch = server.watch({"--dump-at-end", file});
  server.kill();
  const Tool other({"serve", "--socket", server.socket()});  // without the roots
  ASSERT_TRUE(watch->complains("is not mirrored any more")) << watch->err();
  const Ended ended = watch->stop();
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(readFile(file), "{\n  \"mounts\": {}\n}\n");
}

}  // namespace
