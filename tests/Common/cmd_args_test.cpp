#include "Common/CmdArgs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

#include "Common/unix/pssignal.h"

namespace orv {
namespace {

// A command line as the program gets it, and its parsing.
struct Parsed {
  explicit Parsed(std::vector<const char*> arguments)
      : vector(std::move(arguments)),
        args(static_cast<int>(vector.size()), vector.data(), SCAN_COMMAND_NUMBER),
        code(args.parse()) {}
  std::vector<const char*> vector;
  CmdArgs args;
  int code;
};

// "scan -scan -installLoc /a" and what follows.
Parsed scan(const std::vector<const char*>& options) {
  std::vector<const char*> arguments{"scan", "-scan", "-installLoc", "/a"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  return Parsed(std::move(arguments));
}

TEST(CmdArgsTest, everyOptionReachesItsField) {
  const Parsed line =
      scan({"-serverName", "s1",      "-SERVERIP",     "10.0.0.1", "-serverPort",   "9549",
            "-jobName",    "J",       "-jobRunNumber", "12",       "-sidRunNumber", "3",
            "-debug",      "MID",     "-maxLogSize",   "2048",     "-maxNumLogs",   "5",
            "-maxNumRuns", "6",       "-maxNumDays",   "7",        "-nfsTimeout",   "8",
            "-profile",    "\"p q\"", "-logname",      "/l",       "-debugfile",    "/t"});
  const CmdArgs& args = line.args;
  ASSERT_EQ(line.code, 0) << args.currentArgument;
  EXPECT_EQ(args.mode, CmdArgs::MODE_SCAN);
  EXPECT_EQ(args.serverName, "s1");
  EXPECT_EQ(args.serverIP, "10.0.0.1");
  EXPECT_EQ(args.serverPort, 9549);
  EXPECT_EQ(args.jobName, "J");
  EXPECT_EQ(args.jobRunNumber, 12);
  EXPECT_EQ(args.sidRunNumber, 3);
  EXPECT_EQ(args.debugMode, "MID");
  EXPECT_EQ(args.debugLevel, 2);
  EXPECT_EQ(args.maxLogSize, 2048);
  EXPECT_EQ(args.maxNumLogs, 5);
  EXPECT_EQ(args.maxNumRuns, 6);
  EXPECT_EQ(args.maxNumDays, 7);
  EXPECT_EQ(args.nfsTimeout, 8);
  EXPECT_EQ(args.scanProfile, "p q");
  EXPECT_EQ(args.logname, "/l");
  EXPECT_EQ(args.debugfile, "/t");
  EXPECT_EQ(args.statusDescriptor, -1);
}

TEST(CmdArgsTest, faultsEndParsingAtTheFirst) {
  const struct {
    std::vector<const char*> arguments;
    int code;
    const char* argument;
    const char* text;
  } rows[] = {
      {{}, 2, "", ""},
      {{"scan"}, 2, "", ""},
      {{"scan", "-scanner"}, 2, "-scanner", ""},
      {{"scan", "-\xff"}, 2, "-\xff", ""},
      {{"scan", "-scan", "jobname"}, 3, "jobname", ""},
      {{"scan", "-scan", "-"}, 3, "-", ""},
      {{"scan", "-scan", "-nosuch", "-jobname"}, 3, "-nosuch", ""},
      {{"scan", "-version", "-jobName", "J"}, 3, "-jobName", ""},
      {{"scan", "-scan", "-debug", "max"}, 3, "-debug", "Invalid debug mode"},
      {{"scan", "-scan", "-debug"}, 6, "-debug", "Debug mode not specified"},
      {{"scan", "-scan", "-serverport"}, 6, "-serverport", "ServerPort not specified"},
      {{"scan", "-scan", "-installLoc"}, 6, "-installLoc", "installLoc not specified"},
      // The test program does not lie in a directory named "bin".
      {{"scan", "-scan", "-jobname", "J"},
       59,
       "-jobname",
       "Unable to determine install location\n"},
  };
  for (const auto& row : rows) {
    const Parsed line(row.arguments);
    SCOPED_TRACE(::testing::PrintToString(row.arguments));
    EXPECT_EQ(line.code, row.code);
    EXPECT_EQ(line.args.currentArgument, row.argument);
    EXPECT_EQ(line.args.errorText, row.text);
  }
}

TEST(CmdArgsTest, missingValuesLeaveWhatIsDocumented) {
  EXPECT_EQ(scan({"-serverport"}).args.serverPort, -1);
  EXPECT_EQ(scan({"-sidrunnumber", "4", "-sidrunnumber"}).args.sidRunNumber, 4);
  const Parsed noJob = scan({"-jobname"});
  EXPECT_EQ(noJob.code, 0);
  EXPECT_EQ(noJob.args.jobName, "");
}

TEST(CmdArgsTest, valuesAreTakenAsTheyCome) {
  EXPECT_EQ(scan({"-maxlogsize", "none"}).args.maxLogSize, 1024);
  EXPECT_EQ(scan({"-jobrunnumber", " 012x"}).args.jobRunNumber, 12);
  EXPECT_EQ(scan({"-sidrunnumber", "0x10"}).args.sidRunNumber, 0);
  EXPECT_EQ(scan({"-nfstimeout", "-1"}).args.nfsTimeout, -1);
  EXPECT_EQ(scan({"-jobname", "-debug"}).args.jobName, "-debug");
  EXPECT_EQ(scan({"-jobname", "\"a b\""}).args.jobName, "a b");
  EXPECT_EQ(scan({"-jobname", "\"ab"}).args.jobName, "a");
  EXPECT_EQ(scan({"-servername", "\"s\""}).args.serverName, "\"s\"");
}

TEST(CmdArgsTest, agentComNamesDescriptorsThatTheJobTakes) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const std::string value = std::to_string(ends[0]) + "," + std::to_string(ends[1]);
  const Parsed line = scan({"-agentCom", value.c_str()});
  EXPECT_EQ(line.args.agentDescriptor, ends[0]);
  EXPECT_EQ(line.args.statusDescriptor, ends[1]);
  EXPECT_NE(::fcntl(ends[0], F_GETFD), -1) << "reading a command line closes nothing";
  EXPECT_EQ(takeAgentDescriptors(ends[0], ends[1]), ends[1]);
  EXPECT_EQ(::fcntl(ends[0], F_GETFD), -1);
  EXPECT_EQ(::fcntl(ends[1], F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(takeAgentDescriptors(ends[1], ends[1]), -1) << "both ends the same";
  EXPECT_EQ(takeAgentDescriptors(0, ends[1]), -1) << "not open";
  EXPECT_NE(::fcntl(0, F_GETFD), -1);
  EXPECT_EQ(scan({"-agentcom", "0,0"}).args.statusDescriptor, -1);
  EXPECT_EQ(scan({"-agentcom", "0"}).args.statusDescriptor, -1);
}

TEST(CmdArgsTest, installLocationIsKnownBeforeParsing) {
  const struct {
    std::vector<const char*> arguments;
    const char* location;
  } rows[] = {
      {{"scan", "-scan", "-jobname", "J", "-INSTALLLOC", "rel/dir"}, "rel/dir"},
      {{"scan", "nonsense", "-installloc", "/a"}, "/a"},
      {{"scan", "-installloc", "/a", "-installloc", "/b"}, "/b"},
      {{"scan", "-scan", "-jobname", "-installloc", "-sidrunnumber", "1"}, ""},
      {{"scan", "-scan", "-installloc"}, ""},
      {{}, ""},
  };
  for (const auto& row : rows) {
    const CmdArgs args(static_cast<int>(row.arguments.size()), row.arguments.data(),
                       SCAN_COMMAND_NUMBER);
    EXPECT_EQ(args.installLocation(), row.location) << ::testing::PrintToString(row.arguments);
  }
  EXPECT_EQ(installLocationOfProgram("/opt/agent/bin/scan"), "/opt/agent");
  EXPECT_EQ(installLocationOfProgram("/bin/scan"), "/");
  EXPECT_EQ(installLocationOfProgram("/opt/agent/sbin/scan"), "");
}

TEST(JobFilesTest, onlyDefinitionAndTraceOfTheInitialScanLackRunNumbers) {
  const JobFiles job{"/opt/a", "s1", "J", 12, 3};
  EXPECT_EQ(job.definitionFile(), "/opt/a/input/s1/J.00000012_scan.0003.dat");
  EXPECT_EQ(job.outputFile(), "/opt/a/output/s1/J.00000012_scan.0003.dat");
  EXPECT_EQ(job.jobInfoFile(), "/opt/a/output/s1/J.00000012_scan.0003.jobinfo");
  EXPECT_EQ(job.traceFile(), "/opt/a/log/s1/J.00000012_scan.0003.trace");

  const JobFiles initial{"/opt/a", "s1", "InitialFSScan", 0, 0};
  EXPECT_EQ(initial.definitionFile(), "/opt/a/input/s1/InitialFSScan.dat");
  EXPECT_EQ(initial.jobInfoFile(), "/opt/a/output/s1/InitialFSScan.00000000_scan.0000.jobinfo");
  EXPECT_EQ(initial.traceFile(), "/opt/a/log/s1/InitialFSScan.trace");
}

}  // namespace
}  // namespace orv
