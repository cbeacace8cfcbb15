#include <gtest/gtest.h>
#include <mntent.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/job/ScanProcess.h"
#include "orvctl/text/CtlError.h"
#include "support/TempDir.h"

namespace orv::ctl {
namespace {

using orv::test::readFile;
using orv::test::TempDir;
using orv::test::writeFile;

// A staged agent directory with the files that other ones link to.
std::string stagedIn(const TempDir& directory) {
  const std::string staged = directory.file("staged");
  writeFile(staged + "/bin/Agent", "agent");
  writeFile(staged + "/nls/xrmna.cat", "catalog");
  return staged;
}

TEST(AgentDirectoryTest, isMadeCompleteAndKeepsItsOwnFiles) {
  const TempDir directory;
  const std::string staged = stagedIn(directory);
  writeFile(directory.file("own/nls/xrmna.cat"), "its own catalog");
  std::filesystem::create_directories(directory.file("own/bin"));
  std::filesystem::create_symlink("/gone/bin/Agent", directory.file("own/bin/Agent"));

  const AgentDirectory agent = prepareAgentDirectory(directory.file("x/../own/"), staged);
  EXPECT_EQ(agent.path, directory.file("own"));
  EXPECT_EQ(readFile(agent.path + "/bin/Agent"), "agent");
  EXPECT_EQ(readFile(agent.path + "/nls/xrmna.cat"), "its own catalog");
  for (const char* folder : {"input/local", "output/local", "log/local", "config"})
    EXPECT_TRUE(std::filesystem::is_directory(agent.path + "/" + folder)) << folder;
  EXPECT_EQ(prepareAgentDirectory("", staged).path, staged);
}

TEST(AgentDirectoryTest, whatCannotBeUsedIsNamed) {
  const TempDir directory;
  const std::string staged = stagedIn(directory);
  writeFile(directory.file("file"), "");
  const struct {
    std::string agent;
    std::string staged;
    const char* why;
  } cases[] = {
      {directory.file("file"), staged, "cannot create"},
      {directory.file("a"), directory.file("nowhere"), "bin/Agent is missing"},
  };
  for (const auto& row : cases) {
    try {
      (void)prepareAgentDirectory(row.agent, row.staged);
      ADD_FAILURE() << "accepted " << row.agent;
    } catch (const CtlError& error) {
      EXPECT_NE(std::string(error.what()).find(row.why), std::string::npos) << error.what();
    }
  }
}

TEST(LocalJobTest, mountTableIsReadBackAsThePath) {
  for (const char* root : {"/", "/plain", "/a b", "/tab\there", "/back\\slash", "/x\\040y",
                           "/new\nline", "/#hash", "/gr\xc3\xbc\xff"}) {
    const TempDir directory;
    writeFile(directory.file("mnttab"), mountTableText(root));
    std::FILE* table = ::setmntent(directory.file("mnttab").c_str(), "r");
    mntent entry{};
    char buffer[1025];
    ASSERT_NE(::getmntent_r(table, &entry, buffer, sizeof buffer), nullptr) << root;
    EXPECT_STREQ(entry.mnt_dir, root);
    EXPECT_STREQ(entry.mnt_type, "orvctl");
    ::endmntent(table);
  }
  EXPECT_THROW((void)mountTableText("/" + std::string(1100, 'x')), CtlError);
}

TEST(LocalJobTest, definitionQuotesThePathAndRefusesALineBreak) {
  const std::string text = definitionText({"/a,\"b\"", 50});
  EXPECT_NE(text.find("\"/a,\"\"b\"\"\"\n"), std::string::npos) << text;
  EXPECT_THROW((void)definitionText({"/a\nb", 50}), CtlError);
}

TEST(LocalJobTest, everyRunGetsItsOwnFilesAndCleansUpItsInput) {
  const TempDir directory;
  const AgentDirectory agent = prepareAgentDirectory(directory.file("agent"), stagedIn(directory));
  writeFile(agent.outputDirectory() + "/orvctl.00000007_scan.0001.jobinfo", "");
  writeFile(agent.outputDirectory() + "/other.00000099_scan.0001.dat", "");
  writeFile(agent.outputDirectory() + "/orvctl.junk", "");
  std::string definition;
  {
    const LocalJob first(agent, {"/", 100});
    const LocalJob second(agent, {"/", 100});
    EXPECT_EQ(first.runNumber(), 8);
    EXPECT_EQ(second.runNumber(), 9);
    EXPECT_EQ(first.result(), agent.outputDirectory() + "/orvctl.00000008_scan.0001.dat");
    EXPECT_EQ(logOfResult(first.result()), first.log());
    definition = agent.inputDirectory() + "/orvctl.00000008_scan.0001.dat";
    EXPECT_EQ(readFile(definition), definitionText({"/", 100}));
    EXPECT_EQ(readFile(first.mountTable()), mountTableText("/"));
  }
  EXPECT_TRUE(std::filesystem::is_empty(agent.inputDirectory()));
  EXPECT_EQ(logOfResult(agent.outputDirectory() + "/other.00000099_scan.0001.dat"), "");
}

TEST(LocalJobTest, logsGoWithTheRunsThatTheScanPurges) {
  const TempDir directory;
  const AgentDirectory agent = prepareAgentDirectory(directory.file("agent"), stagedIn(directory));
  for (const char* run : {"00000004", "00000005", "00000103"})
    writeFile(agent.logDirectory() + "/orvctl." + run + "_scan.0001.log", "");
  const LocalJob job(agent, {"/", 100});
  EXPECT_EQ(job.runNumber(), 104);
  // 100 runs stay: 5 to 104.
  EXPECT_FALSE(std::filesystem::exists(agent.logDirectory() + "/orvctl.00000004_scan.0001.log"));
  EXPECT_TRUE(std::filesystem::exists(agent.logDirectory() + "/orvctl.00000005_scan.0001.log"));
}

TEST(LocalJobTest, filesystemIdIsPositiveStableAndDiffersByPath) {
  std::set<std::int32_t> ids;
  for (int i = 0; i < 1000; ++i) {
    const std::int32_t id = filesystemIdOf("/path/" + std::to_string(i));
    EXPECT_GT(id, 0);
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), 1000U);
  EXPECT_EQ(filesystemIdOf("/path/1"), filesystemIdOf("/path/1"));
}

// Runs a shell script as the scan program.
ScanEnd runScript(const std::string& script, const std::function<void(double)>& tick) {
  return runScan({"/bin/sh", "-c", script}, {"ORV_MNTTAB=/a table"}, std::chrono::milliseconds(20),
                 tick);
}

void noTick(double) {}

TEST(ScanProcessTest, endsAndEnvironmentAreHandedOn) {
  EXPECT_EQ(runScript("exit 69", noTick).exitCode, 69);
  EXPECT_EQ(runScript("kill -9 $$", noTick).killedBy, SIGKILL);
  EXPECT_EQ(runScript("[ \"$ORV_MNTTAB\" = '/a table' ] && [ -n \"$PATH\" ]", noTick).exitCode, 0);
  // Leader of a group of its own, with nothing to read.
  EXPECT_EQ(runScript("[ $(ps -o pgid= -p $$) = $$ ] && ! read line", noTick).exitCode, 0);
  EXPECT_THROW((void)runScan({"/no/such/program"}, {}, std::chrono::milliseconds(20), noTick),
               CtlError);
}

TEST(ScanProcessTest, userSignalsStopTheScanAndASecondOneKillsIt) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const TempDir directory;
    const std::string ready = directory.file("ready");
    bool raised = false;
    const ScanEnd end = runScript(
        "trap 'exit 8' TERM; : > " + ready + "; while :; do sleep 0.01; done", [&](double) {
          if (!raised && ::access(ready.c_str(), F_OK) == 0)
            raised = ::raise(signal) == 0;
        });
    EXPECT_EQ(end.stoppedBy, signal);
    EXPECT_EQ(end.exitCode, 8);
  }
  const TempDir directory;
  const std::string ready = directory.file("ready");
  const ScanEnd stubborn =
      runScript("trap '' TERM; : > " + ready + "; while :; do sleep 0.01; done", [&](double) {
        if (::access(ready.c_str(), F_OK) == 0)
          ::raise(SIGINT);
      });
  EXPECT_EQ(stubborn.killedBy, SIGKILL);
}

}  // namespace
}  // namespace orv::ctl
