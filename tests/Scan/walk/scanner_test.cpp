#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"
#include "Scan/walk/FileAction.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/ORVException.h"
#include "support/CapturedMessages.h"
#include "support/TempDir.h"

namespace orv {
namespace {

// Writes down what the walk calls.
class Recorder final : public FileAction {
 public:
  Recorder() : FileAction("Recorder") {}
  void actUpon(Scanner*, FileAttributes* info) override { seen.push_back(*info); }
  void directoryEntered(FileAttributes* info) override {
    entered.push_back(info->faName);
    deepest = std::max(deepest, ++depth);
  }
  void directoryLeft() override { --depth; }

  [[nodiscard]] const FileAttributes* find(const std::string& name) const {
    const auto found = std::find_if(seen.begin(), seen.end(),
                                    [&](const FileAttributes& f) { return f.faName == name; });
    return found == seen.end() ? nullptr : &*found;
  }

  std::vector<FileAttributes> seen;
  std::vector<std::string> entered;
  int depth = 0;
  int deepest = 0;
};

class ScannerTest : public ::testing::Test {
 protected:
  int scan(const std::string& root, std::int16_t type = 11) {
    filesystem.fsMountPoint = root;
    filesystem.fsType = type;
    ScannerUnix scanner(filesystem, {{&recorder, nullptr}}, users, fileTypes, WalkOptions{});
    return scanner.scan();
  }
  void makeFile(const std::string& name) { test::writeFile(dir.file(name), "x"); }
  void makeDirectory(const std::string& name) {
    std::filesystem::create_directories(dir.file(name));
  }

  test::TempDir dir;
  test::CapturedMessages messages;
  Filesystem filesystem;
  UberTable uberTable;
  UnixUserTable users{uberTable};
  FileTypeTable fileTypes;
  Recorder recorder;
};

TEST_F(ScannerTest, entriesOfEveryKindAreClassified) {
  makeFile("plain");
  makeFile("exec");
  ::chmod(dir.file("exec").c_str(), 06100);
  makeDirectory("sticky/inner");
  ::chmod(dir.file("sticky").c_str(), 01755);
  ::symlink("sticky", dir.file("link").c_str());
  ::mkfifo(dir.file("fifo").c_str(), 0644);
  const timespec old[2] = {{1000, 0}, {2000, 5}};
  ::utimensat(AT_FDCWD, dir.file("plain").c_str(), old, 0);
  ASSERT_EQ(scan(dir.path()), 0);

  struct Row {
    const char* name;
    int type;
    std::uint32_t attributes;
    std::uint32_t links;
  };
  const Row rows[] = {
      {"", FT_DIRECTORY, 0, 1},
      {"/plain", FT_REGULAR, 0, 1},
      {"/exec", FT_REGULAR, FA_EXECUTABLE | FA_SETUID | FA_SETGID, 1},
      {"/sticky", FT_DIRECTORY, FA_STICKY, 1},
      {"/sticky/inner", FT_DIRECTORY, 0, 1},
      {"/link", FT_SYMLINK, 0, 1},
      {"/fifo", FT_FIFO, 0, 1},
  };
  EXPECT_EQ(recorder.seen.size(), std::size(rows));
  for (const Row& row : rows) {
    const FileAttributes* info = recorder.find(dir.path() + row.name);
    ASSERT_NE(info, nullptr) << row.name;
    EXPECT_EQ(info->faType, row.type) << row.name;
    EXPECT_EQ(info->faAttributes, row.attributes) << row.name;
    EXPECT_EQ(info->faLinkCount, row.links) << row.name;
  }
  // Accessed before it was modified: the later time counts, in milliseconds.
  EXPECT_EQ(recorder.find(dir.path() + "/plain")->faAccessed, 2'000'000);
  EXPECT_EQ(recorder.find(dir.path() + "/fifo")->faBlocks, 0);
  EXPECT_EQ(recorder.entered.size(), 3U);
  EXPECT_EQ(recorder.depth, 0);
  EXPECT_EQ(messages.of("AGT0144I").size(), 1U);
  EXPECT_NE(messages.of("AGT0144I")[0].find(" 7 entries"), std::string::npos);
}

TEST_F(ScannerTest, snapshotDirectoriesAreLeftOutAtTheTopOnly) {
  makeFile("x.snapshotfoo/in");
  makeFile("a/.snapshot/in");
  makeFile(".snapshot.txt");
  ASSERT_EQ(scan(dir.path()), 0);
  EXPECT_EQ(recorder.find(dir.path() + "/x.snapshotfoo"), nullptr);
  EXPECT_EQ(recorder.find(dir.path() + "/x.snapshotfoo/in"), nullptr);
  EXPECT_NE(recorder.find(dir.path() + "/a/.snapshot/in"), nullptr);
  EXPECT_NE(recorder.find(dir.path() + "/.snapshot.txt"), nullptr);
  // The root, a, .snapshot, in and the file: what is left out is not counted.
  EXPECT_NE(messages.of("AGT0144I")[0].find(" 5 entries"), std::string::npos);
}

TEST_F(ScannerTest, flashcopyIsPassedOverOnZenfsOnly) {
  makeFile(".flashcopy/in");
  for (const auto type : std::initializer_list<std::int16_t>{18, 19, 20, 11}) {
    recorder.seen.clear();
    ASSERT_EQ(scan(dir.path(), type), 0);
    const bool expected = type != 18 && type != 19;
    EXPECT_EQ(recorder.find(dir.path() + "/.flashcopy") != nullptr, expected) << type;
  }
}

TEST_F(ScannerTest, treeIsReadDownToLevel199) {
  std::string path = dir.path();
  for (int level = 1; level <= 201; ++level) {
    path += "/d";
    ASSERT_EQ(::mkdir(path.c_str(), 0755), 0);
  }
  ASSERT_EQ(scan(dir.path()), 0);
  // Levels 0 to 199 are open at most: the directory at level 200 is met, but not entered.
  EXPECT_EQ(recorder.deepest, 200);
  EXPECT_EQ(recorder.seen.size(), 201U);
  ASSERT_EQ(messages.of("STA0001E").size(), 1U);
  EXPECT_NE(messages.of("STA0001E")[0].find(recorder.seen.back().faName + " "), std::string::npos);
}

TEST_F(ScannerTest, pathsThatAreTooLongAreReportedAndCounted) {
  // 16 levels of 255 characters pass the 4,095 characters that can be examined.
  const std::string name(255, 'n');
  int parent = ::open(dir.path().c_str(), O_DIRECTORY | O_CLOEXEC);
  for (int level = 0; level < 17; ++level) {
    ASSERT_EQ(::mkdirat(parent, name.c_str(), 0755), 0);
    const int next = ::openat(parent, name.c_str(), O_DIRECTORY | O_CLOEXEC);
    ::close(parent);
    parent = next;
  }
  ::close(parent);
  ASSERT_EQ(scan(dir.path()), 0);
  const std::size_t reachable = (4095 - dir.path().size()) / 256;
  EXPECT_EQ(recorder.seen.size(), reachable + 1);
  ASSERT_EQ(messages.of("STA0063E").size(), 1U);
  EXPECT_NE(messages.of("AGT0144I")[0].find(" " + std::to_string(reachable + 2) + " entries"),
            std::string::npos);
}

TEST_F(ScannerTest, stopFlagEndsTheWalk) {
  makeFile("a");
  agentStop = true;
  ScanAbortException* thrown = nullptr;
  try {
    (void)scan(dir.path());
  } catch (ScanAbortException* exception) {
    thrown = exception;
  }
  agentStop = false;
  ASSERT_NE(thrown, nullptr);
  EXPECT_EQ(thrown->message, "Scan abort initiated by Server -> terminating scan");
  delete thrown;
}

TEST_F(ScannerTest, rootThatCannotBeExaminedFailsTheWalk) {
  EXPECT_EQ(scan(dir.file("missing")), 8);
  EXPECT_EQ(messages.of("STA0529E").size(), 1U);
  EXPECT_EQ(messages.of("STA0121E").size(), 1U);
  EXPECT_EQ(messages.of("STA0063E").size(), 1U);
  EXPECT_TRUE(recorder.seen.empty());
  EXPECT_EQ(recorder.depth, 0);
}

// Large enough for two windows of names: entries still come in the order of the stream, each with
// its own figures.
TEST_F(ScannerTest, largeDirectoryIsDeliveredInStreamOrder) {
  constexpr int FILES = 67'000;
  makeDirectory("big/sub");
  for (int i = 0; i < FILES; ++i) {
    const std::string path = dir.file("big/f" + std::to_string(i));
    ASSERT_EQ(::mknod(path.c_str(), S_IFREG | 0644, 0), 0);
  }
  ASSERT_EQ(::truncate(dir.file("big/f66000").c_str(), 123), 0);
  std::vector<std::string> expected;
  DIR* stream = ::opendir(dir.file("big").c_str());
  while (const dirent* entry = ::readdir(stream))
    if (entry->d_name[0] != '.')
      expected.push_back(dir.file("big/") + entry->d_name);
  ::closedir(stream);

  ASSERT_EQ(scan(dir.file("big")), 0);
  ASSERT_EQ(recorder.seen.size(), expected.size() + 1);
  for (std::size_t i = 0; i < expected.size(); ++i)
    ASSERT_EQ(recorder.seen[i + 1].faName, expected[i]);
  EXPECT_EQ(recorder.find(dir.file("big/f66000"))->faLength, 123);
  EXPECT_EQ(recorder.find(dir.file("big/sub"))->faType, FT_DIRECTORY);
}

TEST(ScannerText, toUTF8CountsWhatDoesNotFit) {
  struct Row {
    const char* in;
    int size;
    int needed;
    const char* out;
  };
  const Row rows[] = {{"abc", 10, 3, "abc"},
                      {"a\xE4z", 10, 4, "a\xC3\xA4z"},
                      {"\xE4z", 1, 3, ""},
                      {"ab\xE4", 3, 4, "ab"}};
  for (const Row& row : rows) {
    char out[16] = {};
    EXPECT_EQ(Scanner::ScannerToUTF8(row.in, out, row.size), row.needed) << row.in;
    EXPECT_STREQ(out, row.out) << row.in;
  }
  EXPECT_EQ(Scanner::ScannerToUTF8(nullptr, nullptr, 0), -1);
}

}  // namespace
}  // namespace orv
