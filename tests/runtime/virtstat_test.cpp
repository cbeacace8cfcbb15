#include "runtime/unx/virtstat.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/UniqueFd.h"
#include "support/HangFs.h"
#include "support/PrivateMounts.h"
#include "support/TempDir.h"

namespace orv {
namespace {

// A time that no call of a test can come near.
constexpr int LONG = 1000;

StatThread* statThread;  // of the running test

// The errno value that a call ends with, 0 for none.
int errorOf(int operation, const std::string& path, int timeout = LONG) {
  union {
    struct statfs64 statfs;
    struct statvfs64 statvfs;
    struct stat stat;
  } buffer;
  int error = -1;
  const int result =
      statThread->zplNFSsyscalls(path.c_str(), 0, &buffer, operation, timeout, error);
  return result == (error == 0 ? 0 : -1) ? error : -1;
}

std::vector<pid_t> children() {
  const std::string self = std::to_string(::getpid());
  std::istringstream list(test::readFile("/proc/" + self + "/task/" + self + "/children"));
  std::vector<pid_t> found;
  for (pid_t child; list >> child;)
    found.push_back(child);
  return found;
}

// Helpers are killed at the end of their owner; waits for those of the tests before.
void reapAll() {
  statThread->cleanUp();
  while (::waitpid(-1, nullptr, 0) > 0) {
  }
}

std::string statusLine(pid_t process, const std::string& name) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(name + ":\t"))
      return line.substr(name.size() + 2);
  return "none";
}

class VirtStat : public ::testing::Test {
 protected:
  void SetUp() override {
    ::signal(SIGPIPE, SIG_IGN);
    statThread = &owned;
  }
  void TearDown() override { agentStop = false; }

  StatThread owned;
  test::TempDir dir;
};

TEST_F(VirtStat, givesWhatTheSystemCallsGive) {
  test::writeFile(dir.file("file"), "12345");
  std::filesystem::create_symlink("file", dir.file("link"));
  struct stat expected {
  }, got{};
  int error = 0;
  ASSERT_EQ(::lstat(dir.file("link").c_str(), &expected), 0);
  ASSERT_EQ(statThread->zplNFSsyscalls(dir.file("link").c_str(), 0, &got, VS_LSTAT, LONG, error),
            0);
  EXPECT_EQ(std::memcmp(&expected, &got, sizeof got), 0);
  ASSERT_EQ(::stat(dir.file("link").c_str(), &expected), 0);
  ASSERT_EQ(statThread->zplNFSsyscalls(dir.file("link").c_str(), 0, &got, VS_STAT, LONG, error), 0);
  EXPECT_EQ(std::memcmp(&expected, &got, sizeof got), 0);

  struct statfs64 fs {
  }, fsGot{};
  ASSERT_EQ(::statfs64("/proc", &fs), 0);
  ASSERT_EQ(statThread->zplNFSsyscalls("/proc", 0, &fsGot, VS_STATFS, LONG, error), 0);
  EXPECT_EQ(fsGot.f_type, fs.f_type);
  EXPECT_EQ(fsGot.f_bsize, fs.f_bsize);
  struct statvfs64 vfs {
  }, vfsGot{};
  ASSERT_EQ(::statvfs64("/", &vfs), 0);
  ASSERT_EQ(statThread->zplNFSsyscalls("/", 0, &vfsGot, VS_STATVFS, LONG, error), 0);
  EXPECT_EQ(vfsGot.f_blocks, vfs.f_blocks);
  EXPECT_EQ(vfsGot.f_files, vfs.f_files);
}

TEST_F(VirtStat, givesTheErrorsOfTheSystemCalls) {
  test::writeFile(dir.file("file"), "");
  // As long as a path may be, and one longer: the helper's limit never hides the system's.
  std::string longest = "/";
  while (longest.size() < 4095)
    longest += "./";
  longest.resize(4095);
  const struct {
    int operation;
    std::string path;
    int error;
  } rows[] = {
      {VS_LSTAT, dir.file("none"), ENOENT},
      {VS_STATVFS, dir.file("none"), ENOENT},
      {VS_LSTAT, dir.file("file") + "/x", ENOTDIR},
      {VS_LSTAT, longest, 0},
      {VS_LSTAT, longest + "/", ENAMETOOLONG},
      {VS_LSTAT, longest + "//", ENAMETOOLONG},
      {VS_LSTAT, "", ENOENT},
      {4, "/", EINVAL},
      {-1, "/", EINVAL},
  };
  for (const auto& row : rows)
    EXPECT_EQ(errorOf(row.operation, row.path), row.error) << row.operation << " " << row.path;
}

TEST_F(VirtStat, helperHoldsNothingOfTheJob) {
  reapAll();  // helpers of the tests before
  UniqueFd locked(::open(dir.file("lock").c_str(), O_RDWR | O_CREAT, 0600));
  ASSERT_EQ(::flock(locked.get(), LOCK_EX), 0);
  ::signal(SIGTERM, SIG_IGN);
  ASSERT_EQ(errorOf(VS_LSTAT, "/"), 0);
  ::signal(SIGTERM, SIG_DFL);
  ASSERT_EQ(children().size(), 1U);
  const pid_t helper = children().front();
  std::vector<std::string> held;
  for (const auto& fd :
       std::filesystem::directory_iterator("/proc/" + std::to_string(helper) + "/fd"))
    held.push_back(std::filesystem::read_symlink(fd.path()).string());
  ASSERT_EQ(held.size(), 2U);
  EXPECT_TRUE(held[0].starts_with("pipe:") && held[1].starts_with("pipe:"));
  for (const char* set : {"SigBlk", "SigIgn", "SigCgt"})
    EXPECT_EQ(std::stoull(statusLine(helper, set), nullptr, 16), 0U) << set;
  locked.reset();
  const UniqueFd again(::open(dir.file("lock").c_str(), O_RDWR));
  EXPECT_EQ(::flock(again.get(), LOCK_EX | LOCK_NB), 0);
}

// The rest needs mounts that do not answer.
class VirtStatHang : public VirtStat {
 protected:
  void SetUp() override {
    if (!test::canMount() || !test::HangFs::isPossible())
      GTEST_SKIP() << "needs a private mount namespace (root) and /dev/fuse";
    VirtStat::SetUp();
    std::filesystem::create_directories(dir.file("mounted"));
    for (const char* name : {"dir/file", "hang-stat"})
      test::writeFile(dir.file("source/") + name, name);
  }
  [[nodiscard]] std::string mounted(const std::string& name) const {
    return dir.file("mounted/") + name;
  }
  // Runs `body` over a mount of the source in a private namespace.
  [[nodiscard]] std::string overMount(
      const std::function<std::string(test::HangFs& server)>& body) const {
    return test::inPrivateMounts([&] {
      test::HangFs server(dir.file("source"), dir.file("mounted"));
      return body(server);
    });
  }
};

TEST_F(VirtStatHang, neverTakesALateAnswerForAnother) {
  EXPECT_EQ("", overMount([&](test::HangFs& server) -> std::string {
              for (int round = 0; round < 2; ++round) {
                server.stop();
                if (errorOf(VS_LSTAT, mounted("dir/file"), 1) != ETIMEDOUT)
                  return "a stopped server answers";
                server.goOn();
                struct stat st {};
                int error = 0;
                if (statThread->zplNFSsyscalls(mounted("dir").c_str(), 0, &st, VS_LSTAT, LONG,
                                               error) != 0 ||
                    !S_ISDIR(st.st_mode))
                  return "wrong answer after the server went on";
              }
              return "";
            }));
}

TEST_F(VirtStatHang, leavesNoProcessBehind) {
  EXPECT_EQ("", overMount([&](test::HangFs& server) -> std::string {
              for (int i = 0; i < 2; ++i)
                if (errorOf(VS_LSTAT, mounted("hang-stat"), 1) != ETIMEDOUT)
                  return "no time-out";
              if (children().size() < 3)
                return "the killed helpers cannot have ended yet, nor be waited for";
              server.kill();
              // Free to end now, each is reaped when they are counted.
              while (statThread->leftBehind().count() > 0)
                ::usleep(10'000);
              return "";
            }));
}

}  // namespace
}  // namespace orv
