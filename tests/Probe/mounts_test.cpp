#include "Probe/Mounts.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "Probe/Filesystem.h"
#include "runtime/unx/virtstat.h"
#include "support/CapturedMessages.h"
#include "support/PrivateMounts.h"
#include "support/TempDir.h"

namespace orv {
namespace {

std::string show(const MountEntry& entry) {
  return entry.source + "|" + entry.mountPoint + "|" + entry.type;
}

std::vector<std::string> readTable(const std::string& table) {
  std::vector<std::string> found;
  Mounts mounts(table);
  if (!mounts.openMnttab())
    return {"not opened"};
  while (mounts.nextMount())
    found.push_back(show(mounts.current()));
  if (mounts.nextMount())
    found.push_back("goes on after its end");
  return found;
}

class MountsTest : public ::testing::Test {
 protected:
  void useTable(const std::string& text) {
    table = dir.file("mtab");
    test::writeFile(table, text);
  }

  StatThread statThread;
  test::TempDir dir;
  std::string table = Mounts::MOUNT_TABLE;
  test::CapturedMessages messages;
};

TEST_F(MountsTest, passesOverTheExcludedTypesOnly) {
  useTable(
      "# comment\n"
      "a / auto rw 0 0\n"
      "b /b autofs rw 0 0\n"
      "c /c vxodmfs rw 0 0\n"
      "d /d proc rw 0 0\n"
      "gvfs /g fuse.gvfs-fuse-daemon rw 0 0\n"
      "tmpfs /tmp tmpfs rw 0 0\n"
      "host:/export /n nfs rw 0 0\n"
      "\n"
      "e /e autofs2 rw 0 0\n"
      "f /f aut rw 0 0\n"
      "last /last ext4");
  EXPECT_EQ(readTable(table),
            (std::vector<std::string>{"tmpfs|/tmp|tmpfs", "host:/export|/n|nfs", "e|/e|autofs2",
                                      "f|/f|aut", "last|/last|ext4"}));
}

TEST_F(MountsTest, decodesEscapes) {
  useTable(
      "h:/a\\040b\\0431 /m\\011x\\134043 nfs rw 0 0\n"
      "/dev/x /new\\012line ext4 rw 0 0\n");
  EXPECT_EQ(readTable(table),
            (std::vector<std::string>{"h:/a b#1|/m\tx\\043|nfs", "/dev/x|/new\nline|ext4"}));
}

// The fields of an entry may take 1,024 characters; what does not fit is never taken for something
// else, and the entry behind it is read as it stands.
TEST_F(MountsTest, passesOverEntriesThatDoNotFit) {
  const auto entryOf = [](std::size_t mountPointLength) {
    return "dev /" + std::string(mountPointLength - 1, 'm') +
           " ext4 rw,x=" + std::string(3000, 'o') + " 0 0\n";
  };
  // "dev " + 1,014 + " ext4" fills 1,023 characters: the blank behind it is the last that fits.
  useTable(entryOf(1014) + entryOf(1015) + entryOf(1017) + entryOf(1100) + entryOf(5000) +
           "lonely\nonly /two\nafter /after ext4 rw 0 0\n");
  EXPECT_EQ(readTable(table), (std::vector<std::string>{"dev|/" + std::string(1013, 'm') + "|ext4",
                                                        "after|/after|ext4"}));
}

TEST_F(MountsTest, endsAtAFilesetWhoseClusterIsUnknown) {
  if (::access("/etc/zenfs/cluster", F_OK) == 0)
    GTEST_SKIP() << "this host names a cluster";
  useTable("/dev/a /a ext4 rw 0 0\n/dev/gold /z zenfs rw 0 0\n/dev/c /c ext4 rw 0 0\n");
  EXPECT_EQ(readTable(table), (std::vector<std::string>{"/dev/a|/a|ext4"}));
  ASSERT_EQ(messages.lines.size(), 2U);
  EXPECT_TRUE(messages.lines[0].starts_with("STA0620E ")) << messages.lines[0];
  EXPECT_TRUE(messages.lines[1].starts_with("STA0622E ")) << messages.lines[1];
}

TEST_F(MountsTest, namesAFilesetByItsCluster) {
  if (!test::canMount())
    GTEST_SKIP() << "needs a private mount namespace (root)";
  useTable("/dev/gold /a zenfs rw 0 0\nsilver /b stfs2 rw 0 0\n");
  EXPECT_EQ(
      "", test::inPrivateMounts([this]() -> std::string {
        // An empty /etc of the child's own, with nothing in it but the cluster.
        if (::mount("none", "/etc", "tmpfs", 0, nullptr) != 0)
          return "cannot mount over /etc";
        test::writeFile("/etc/zenfs/cluster", " north \nsecond line\n");
        const std::vector<std::string> entries = readTable(table);
        if (entries != std::vector<std::string>{"north/gold|/a|zenfs", "north/silver|/b|zenfs"})
          return "read " + (entries.empty() ? "nothing" : entries.front());
        return "";
      }));
}

TEST_F(MountsTest, readsWhatTheKernelSays) {
  if (!test::canMount())
    GTEST_SKIP() << "needs a private mount namespace (root)";
  const std::string place = dir.file("a b\t#c\\d\n\\040e");
  std::filesystem::create_directory(place);
  EXPECT_EQ("", test::inPrivateMounts([&]() -> std::string {
              // 1 GiB in pages of 4,096 bytes: 262,144 blocks, of which an empty tmpfs uses none.
              for (const char* options : {"size=4k", "size=1g,nr_inodes=1000"})
                if (::mount("h:/e #1", place.c_str(), "tmpfs", 0, options) != 0)
                  return "cannot mount a tmpfs";
              const std::vector<std::string> entries = readTable(table);
              const std::string expected = "h:/e #1|" + place + "|tmpfs";
              if (std::count(entries.begin(), entries.end(), expected) != 2)
                return "the table lacks " + expected;
              Filesystem fs;
              if (Mounts::statFS({"h:/e #1", place, "tmpfs"}, fs, 0, statThread) != 0)
                return "statFS failed";
              // The root directory is the one inode in use.
              for (const auto& [figure, wanted] : {std::pair(fs.fsCapacity, 2097152),
                                                   {fs.fsFreeSpace, 2097152},
                                                   {fs.fsUsedSpace, 0},
                                                   {fs.fsPhysicalSize, 2097152},
                                                   {static_cast<std::int64_t>(fs.fsMaxFiles), 1000},
                                                   {std::int64_t{fs.fsUsedInodes}, 1},
                                                   {std::int64_t{fs.fsFreeInodes}, 999}})
                if (figure != wanted)
                  return "wrong figure " + std::to_string(figure);
              return "";
            }));
}

TEST_F(MountsTest, statFSReportsWhatDoesNotAnswer) {
  Filesystem fs;
  fs.fsCapacity = 5;
  const std::string gone = dir.file("gone");
  EXPECT_EQ(Mounts::statFS({"/dev/x", gone, "ext4"}, fs, 0, statThread), 12);
  EXPECT_EQ(Mounts::statFS({"/dev/x", gone, "ext4"}, fs, 1000, statThread), 12);
  EXPECT_EQ(fs.fsCapacity, 5);
  ASSERT_EQ(messages.of("STA0096E").size(), 2U);
  EXPECT_NE(messages.lines[0].find(gone + " - No such file or directory"), std::string::npos);
  EXPECT_EQ(messages.lines[0], messages.lines[1]);
}

TEST(MountsCapacity, countsInFragmentsOrElseInBlocks) {
  const struct {
    unsigned long bsize, frsize;
    std::uint64_t blocks, bavail;
    std::int64_t capacity, free, used;
  } rows[] = {
      {4096, 512, 2097152, 1, 2097152, 1, 2097151},  // 1 GiB in 512-byte fragments
      {4096, 0, 262144, 2, 2097152, 16, 2097136},    // the same without a fragment size
      {1024, 1024, 0xFFFFFFFFFF, 0, 0x1FFFFFFFFFE, 0, 0x1FFFFFFFFFE},  // beyond 32 bits
      {4096, 4096, 10, static_cast<std::uint64_t>(-1), 80, -8, 88},    // into the reserve
  };
  for (const auto& row : rows) {
    struct statvfs64 st {};
    st.f_bsize = row.bsize;
    st.f_frsize = row.frsize;
    st.f_blocks = row.blocks;
    st.f_bavail = row.bavail;
    Filesystem fs;
    Mounts::setCapacity(st, {"d", "/d", "xfs"}, fs);
    EXPECT_EQ(fs.fsCapacity, row.capacity) << row.blocks;
    EXPECT_EQ(fs.fsFreeSpace, row.free) << row.blocks;
    EXPECT_EQ(fs.fsUsedSpace, row.used) << row.blocks;
    EXPECT_EQ(fs.fsPhysicalSize, row.capacity) << row.blocks;
  }
}

TEST(MountsCapacity, leavesInodesOfTypesWithoutThem) {
  struct statvfs64 st {};
  st.f_frsize = 512;
  st.f_files = 0x100000007;  // the low 32 bits of each count: 7 - 3
  st.f_ffree = 3;
  st.f_favail = 2;
  for (const char* type : {"xfs", "vxfs", "reiserfs"}) {
    Filesystem fs;
    fs.fsMaxFiles = 70;
    fs.fsUsedInodes = 71;
    fs.fsFreeInodes = 72;
    Mounts::setCapacity(st, {"d", "/d", type}, fs);
    const bool isSet = type == std::string("xfs");
    EXPECT_EQ(fs.fsMaxFiles, isSet ? 0x100000007U : 70U) << type;
    EXPECT_EQ(fs.fsUsedInodes, isSet ? 4U : 71U) << type;
    EXPECT_EQ(fs.fsFreeInodes, isSet ? 2U : 72U) << type;
  }
}

}  // namespace
}  // namespace orv
