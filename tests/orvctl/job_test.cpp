#include <fmt/format.h>
#include <mntent.h>
#include <signal.h>
#include <unistd.h>

#include "orvctl/Orvctl.h"
#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/job/ScanProcess.h"
#include "orvctl/job/ScanRoots.h"
#include "support/HangFs.h"
#include "support/PrivateMounts.h"

namespace orv::ctl::test {
namespace {

// A staged agent directory with the files that other ones link to.
Installation stagedIn(const TempDir& directory) {
  const std::string staged = directory.file("staged");
  writeFile(staged + "/bin/Agent", "agent");
  writeFile(staged + "/nls/xrmna.cat", "catalog");
  return installationOf(staged + "/bin/orvctl");
}

TEST(AgentDirectoryTest, isMadeCompleteAndKeepsItsOwnFiles) {
  const TempDir directory;
  const Installation staged = stagedIn(directory);
  writeFile(directory.file("own/nls/xrmna.cat"), "its own catalog");
  std::filesystem::create_directories(directory.file("own/bin"));
  std::filesystem::create_symlink("/gone/bin/Agent", directory.file("own/bin/Agent"));

  const AgentDirectory agent = prepareAgentDirectory(directory.file("x/../own/"), staged);
  EXPECT_EQ(agent.path, directory.file("own"));
  EXPECT_EQ(readFile(agent.path + "/bin/Agent"), "agent");
  EXPECT_EQ(readFile(agent.path + "/nls/xrmna.cat"), "its own catalog");
  for (const char* folder : {"input/local", "output/local", "log/local", "config"})
    EXPECT_TRUE(std::filesystem::is_directory(agent.path + "/" + folder)) << folder;
  EXPECT_EQ(prepareAgentDirectory("", staged).path, staged.tree);
  for (const auto& [own, from] :
       {std::pair(agent.path + "/bin/Agent", staged), {directory.file("a"), Installation{}}})
    EXPECT_THROW((void)prepareAgentDirectory(own, from), CtlError) << own;
}

JobRequest requestOf(const std::string& root) {
  RootFacts facts;
  facts.path = root;
  return {.roots = {facts}};
}

TEST(LocalJobTest, mountTableIsReadBackAsThePath) {
  for (const char* root : {"/", "/plain", "/a b", "/tab\there", "/back\\slash", "/x\\040y",
                           "/new\nline", "/#hash", "/gr\xc3\xbc\xff"}) {
    const TempDir directory;
    writeFile(directory.file("mnttab"), mountTableText(requestOf(root)));
    std::FILE* table = ::setmntent(directory.file("mnttab").c_str(), "r");
    mntent entry{};
    char buffer[1025];
    ASSERT_NE(::getmntent_r(table, &entry, buffer, sizeof buffer), nullptr) << root;
    EXPECT_STREQ(entry.mnt_dir, root);
    EXPECT_STREQ(entry.mnt_type, "orvctl");
    ::endmntent(table);
  }
  EXPECT_THROW((void)mountTableText(requestOf("/" + std::string(1100, 'x'))), CtlError);
}

TEST(LocalJobTest, everyRunGetsItsOwnFilesAndCleansUpItsInput) {
  const TempDir directory;
  const AgentDirectory agent = prepareAgentDirectory(directory.file("agent"), stagedIn(directory));
  writeFile(agent.outputDirectory() + "/orvctl.00000007_scan.0001.jobinfo", "");
  writeFile(agent.outputDirectory() + "/other.00000099_scan.0001.dat", "");
  writeFile(agent.outputDirectory() + "/orvctl.junk", "");
  // 100 runs stay: the log of a run goes with the files that the scan purges.
  const std::string log = agent.logDirectory() + "/orvctl.00000103_scan.0001.log";
  const std::string oldLog = agent.logDirectory() + "/orvctl.00000004_scan.0001.log";
  const std::string keptLog = agent.logDirectory() + "/orvctl.00000005_scan.0001.log";
  for (const std::string& file : {log, oldLog, keptLog})
    writeFile(file, "");
  std::string definition;
  {
    const LocalJob first(agent, requestOf("/"));
    EXPECT_FALSE(std::filesystem::exists(oldLog));
    EXPECT_TRUE(std::filesystem::exists(keptLog));
    const LocalJob second(agent, requestOf("/"));
    EXPECT_EQ(first.runNumber(), 104);
    EXPECT_EQ(second.runNumber(), 105);
    EXPECT_EQ(first.result(), agent.outputDirectory() + "/orvctl.00000104_scan.0001.dat");
    EXPECT_EQ(logOfResult(first.result()), first.log());
    definition = agent.inputDirectory() + "/orvctl.00000104_scan.0001.dat";
    EXPECT_EQ(readFile(definition), definitionText(requestOf("/")));
    EXPECT_EQ(readFile(first.mountTable()), mountTableText(requestOf("/")));
  }
  EXPECT_TRUE(std::filesystem::is_empty(agent.inputDirectory()));
  EXPECT_EQ(logOfResult(agent.outputDirectory() + "/other.00000099_scan.0001.dat"), "");
}

struct Watcher final : ScanWatcher {
  explicit Watcher(std::function<void()> call = {}) : onTick(std::move(call)) {}
  void tick(double) override {
    if (onTick)
      onTick();
  }
  void stopping() override { ++stops; }
  std::chrono::milliseconds interval() const override { return std::chrono::milliseconds(20); }

  std::function<void()> onTick;
  int stops = 0;
};

// Runs a shell script as the scan program.
ScanEnd runScript(const std::string& script, Watcher watcher = Watcher(), StopLimits limits = {}) {
  const ScanEnd end = runScan({"/bin/sh", "-c", script}, {"ORV_MNTTAB=/a table"}, watcher, limits);
  EXPECT_EQ(watcher.stops, end.stoppedBy != 0 ? 1 : 0);
  return end;
}

// Nothing touches the mount: the server is stopped before.
TEST(ScanRootsTest, aMountBelowThatMayHangIsLeftAloneAndBringsATimeOut) {
  if (!orv::test::HangFs::isPossible() || !orv::test::canMount())
    GTEST_SKIP() << "needs FUSE and a mount namespace of its own";
  const TempDir directory;
  const std::string mountPoint = directory.file("root/mount");
  for (const std::string& made :
       {mountPoint, directory.file("root/plain/x"), directory.file("from")})
    std::filesystem::create_directories(made);
  EXPECT_EQ(orv::test::inPrivateMounts([&] {
              const orv::test::HangFs hanging(directory.file("from"), mountPoint);
              hanging.stop();
              const ScanRoots found = findRoots({.paths = {directory.file("root")}});
              const RootFacts& root = found.roots.at(0);
              return fmt::format("{} {} {}{}", found.timeout, root.depth, root.cut,
                                 root.mounts.at(0));
            }),
            "10 2 " + mountPoint + " (fuse.hangfs)");
}

TEST(ScanProcessTest, endsAndEnvironmentAreHandedOn) {
  EXPECT_EQ(runScript("exit 69").exitCode, 69);
  EXPECT_EQ(runScript("kill -9 $$").killedBy, SIGKILL);
  EXPECT_EQ(runScript("[ \"$ORV_MNTTAB\" = '/a table' ] && [ -n \"$PATH\" ]").exitCode, 0);
  // Leader of a group of its own, with nothing to read.
  EXPECT_EQ(runScript("[ $(ps -o pgid= -p $$) = $$ ] && ! read line").exitCode, 0);
  Watcher nobody;
  EXPECT_THROW((void)runScan({"/no/such/program"}, {}, nobody), CtlError);
}

TEST(ScanProcessTest, userSignalsStopTheScanAndWhatDoesNotStopIsKilled) {
  const struct {
    int signal;
    const char* trap;
    int code;
    int killedBy;
    StopLimits limits = {};
  } rows[] = {{SIGINT, "trap 'exit 8' TERM", 8, 0},
              {SIGTERM, "trap 'exit 8' TERM", 8, 0},
              {SIGHUP, "trap 'exit 8' TERM", 8, 0},
              {SIGTERM, "trap '' TERM", 0, SIGKILL, {.toStop = std::chrono::milliseconds(1)}}};
  for (const auto& row : rows) {
    ::signal(row.signal, SIG_DFL);  // whoever runs the tests may ignore it
    const TempDir directory;
    const std::string ready = directory.file("ready");
    bool raised = false;
    const auto raise = [&] {
      if (!raised && ::access(ready.c_str(), F_OK) == 0)
        raised = ::raise(row.signal) == 0;
    };
    const ScanEnd end = runScript(row.trap + ("; : > " + ready) + "; while :; do sleep 0.01; done",
                                  Watcher(raise), row.limits);
    EXPECT_EQ(end.stoppedBy, row.signal);
    EXPECT_EQ(end.killedBy, row.killedBy);
    EXPECT_EQ(end.exitCode, row.code);
    EXPECT_EQ(end.stuckPid, 0);
  }
}

}  // namespace
}  // namespace orv::ctl::test
