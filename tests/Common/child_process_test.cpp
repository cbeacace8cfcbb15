#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Common/CmdExecer.h"
#include "Common/unix/psnautil.h"
#include "Common/unix/pssignal.h"
#include "runtime/thrd/StopFlag.h"
#include "support/CapturedTrace.h"
#include "support/Process.h"

namespace orv {
namespace {

using test::CapturedTrace;
using test::eventually;
using test::Process;
using test::readFile;
using test::TempDir;

TEST(ChildProcess, argumentsArriveAsTheyAre) {
  const TempDir dir;
  const std::string program = dir.file("show me");
  test::writeFile(program, "#!/bin/sh\nfor a; do printf '[%s]\\n' \"$a\"; done\necho err >&2\n");
  ASSERT_EQ(::chmod(program.c_str(), 0700), 0);
  test::writeFile(dir.file("both"), "from before\n");
  const pid_t pid =
      SpawnExternalProgram({program, "a b", "", "'q\"", "$HOME `id`;", "*", "l1\nl2"},
                           {.standardOutput = dir.file("out"), .standardError = dir.file("both")});
  EXPECT_EQ(WaitForExternalProgram(pid, 60), 0);
  EXPECT_EQ(readFile(dir.file("out")), "[a b]\n[]\n['q\"]\n[$HOME `id`;]\n[*]\n[l1\nl2]\n");
  EXPECT_EQ(readFile(dir.file("both")), "err\n");
  struct stat st {};
  ASSERT_EQ(::stat(dir.file("out").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600U);
}

TEST(ChildProcess, howItEndedIsTold) {
  struct Row {
    std::vector<std::string> command;
    int code;
    const char* traced;
  };
  const TempDir dir;
  const Row rows[] = {
      {{"/bin/sh", "-c", "exit 3"}, 3, "exit code:3"},
      {{"/bin/sh", "-c", "kill -TERM $$"}, PROGRAM_WAIT_FAILED, "ended by signal 15"},
      {{dir.file("missing"), "x"}, PROGRAM_NOT_STARTED, "exit code:71"},
  };
  for (const Row& row : rows) {
    const CapturedTrace trace;
    const pid_t pid = SpawnExternalProgram(row.command, {.standardError = dir.file("err")});
    EXPECT_EQ(WaitForExternalProgram(pid, 0), row.code) << row.command.back();
    EXPECT_TRUE(trace.contains(row.traced)) << row.command.back();
  }
  EXPECT_EQ(readFile(dir.file("err")),
            "cannot execute " + dir.file("missing") + ": No such file or directory\n");
  const Process another([] { return ::pause(); });
  EXPECT_EQ(WaitForExternalProgram(-1, 0), PROGRAM_WAIT_FAILED) << "waits for any child";
}

TEST(ChildProcess, timeOutKillsTheWholeGroup) {
  const TempDir dir;
  sigset_t alarmOnly;
  ::sigemptyset(&alarmOnly);
  ::sigaddset(&alarmOnly, SIGALRM);
  // Blocked by the starter, the alarm has to work all the same, and is blocked again afterwards.
  ASSERT_EQ(::sigprocmask(SIG_BLOCK, &alarmOnly, nullptr), 0);
  ASSERT_NE(::signal(SIGALRM, SIG_IGN), SIG_ERR);
  const pid_t pid =
      SpawnShellCommand("sleep 1000 & echo $! > " + dir.file("part") + "; mv " + dir.file("part") +
                        " " + dir.file("pid") + "; trap '' TERM INT; wait; sleep 1000");
  ASSERT_TRUE(eventually([&] { return ::access(dir.file("pid").c_str(), F_OK) == 0; }));
  EXPECT_EQ(WaitForExternalProgram(pid, 1), PROGRAM_TIMED_OUT);
  const int grandchild = std::stoi(readFile(dir.file("pid")));
  EXPECT_TRUE(eventually([&] { return !test::isRunning(grandchild); }));
  EXPECT_FALSE(test::isRunning(pid));
  EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1) << "left unreaped";

  sigset_t mask;
  ASSERT_EQ(::sigprocmask(SIG_UNBLOCK, &alarmOnly, &mask), 0);
  EXPECT_EQ(::sigismember(&mask, SIGALRM), 1);
  EXPECT_EQ(::signal(SIGALRM, SIG_DFL), SIG_IGN);
}

TEST(ChildProcess, otherSignalsDoNotEndTheWait) {
  struct sigaction interrupting {
  }, old{};
  static int caught;
  caught = 0;
  interrupting.sa_handler = [](int) { ++caught; };
  ASSERT_EQ(::sigaction(SIGUSR1, &interrupting, &old), 0);
  const pid_t pid = SpawnShellCommand("for i in 1 2 3; do kill -USR1 " +
                                      std::to_string(::getpid()) + "; sleep 0.05; done; exit 5");
  EXPECT_EQ(WaitForExternalProgram(pid, 60), 5);
  EXPECT_GT(caught, 0);
  ::sigaction(SIGUSR1, &old, nullptr);
}

TEST(ChildProcess, inheritsNothingOfTheJob) {
  const TempDir dir;
  const Process job([&] {
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGHUP, SIG_IGN);
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    const int leaking = ::open("/dev/null", O_RDONLY);  // deliberately without close-on-exec
    ::dup2(leaking, 77);
    // Signals first: the shell that is asked has not changed any itself. Then group and files.
    const pid_t pid = SpawnShellCommand(
        "grep -cE '^Sig(Blk|Ign):.0*$' /proc/self/status; "
        "[ \"$(cut -d' ' -f5 /proc/$$/stat)\" = $$ ] && echo leads; "
        "[ -e /proc/$$/fd/77 ] || echo closed; read line || echo no input",
        {.standardOutput = dir.file("out")});
    return WaitForExternalProgram(pid, 0);
  });
  EXPECT_TRUE(eventually([&] { return readFile(dir.file("out")).ends_with("input\n"); }));
  EXPECT_EQ(readFile(dir.file("out")), "2\nleads\nclosed\nno input\n");
}

TEST(ProcessCheck, tellsRunningFromEnded) {
  Process running([] { return ::pause(); });
  Process zombie([] { return 0; });
  ASSERT_TRUE(eventually([&] { return !test::isRunning(zombie.pid()); }));
  const pid_t runningPid = running.pid();
  EXPECT_TRUE(psProcessIsRunning(::getpid()));
  EXPECT_TRUE(psProcessIsRunning(runningPid));
  EXPECT_FALSE(psProcessIsRunning(zombie.pid())) << "ended, though ps still lists it";
  running.kill();
  EXPECT_FALSE(psProcessIsRunning(runningPid));
  EXPECT_FALSE(psProcessIsRunning(0)) << "would be this process group";
  EXPECT_FALSE(psProcessIsRunning(-1)) << "would be every process";
}

TEST(CmdExecer, appendsBothOutputsAndReturnsTheStatus) {
  const TempDir dir;
  const std::string out = dir.file("o"), err = dir.file("it's err");
  test::writeFile(out, "old\n");
  CmdExecer command({"sh", "-c", "'echo new; echo bad >&2; exit 2'"}, out, err);
  EXPECT_EQ(command.getCommand(), "sh -c 'echo new; echo bad >&2; exit 2' >>" + out + " 2>>'" +
                                      dir.path() + "/it'\\''s err'");
  const int status = command.runCommand();
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 2);
  EXPECT_EQ(readFile(out), "old\nnew\n");
  EXPECT_EQ(readFile(err), "bad\n");
  EXPECT_EQ(CmdExecer({}, out, err).runCommand(), -1);
}

TEST(Signals, stopFlagOnlyForInterruptAndTermination) {
  for (const int signal : {SIGTERM, SIGINT}) {
    const CapturedTrace trace;
    Process job([signal] {
      ::signal(SIGCHLD, SIG_IGN);  // as an agent may leave it: children could not be waited for
      ::signal(SIGINT, SIG_DFL);   // whoever runs the tests may ignore it
      installSignalHandlers();
      ::raise(SIGPIPE);
      ::raise(SIGHUP);
      unxInterruptHandler(SIGUSR1);
      if (agentStop || ::getpgrp() != ::getpid())
        return 1;
      if (WaitForExternalProgram(SpawnShellCommand("exit 9"), 60) != 9)
        return 2;
      ::raise(signal);
      traceCaughtSignal();
      return agentStop ? 0 : 3;
    });
    EXPECT_EQ(job.wait(), 0) << signal;
    EXPECT_TRUE(trace.contains("Caught signal " + std::to_string(signal)));
  }
}

}  // namespace
}  // namespace orv
