#include "Probe/PhysicalSize.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <vector>

#include "Probe/Filesystem.h"
#include "Probe/Mounts.h"
#include "support/CapturedMessages.h"
#include "support/TempDir.h"

namespace orv {
namespace {

// What a shell command prints; nothing when it fails.
std::optional<std::string> outputOf(const std::string& command) {
  const std::string line = "PATH=$PATH:/usr/sbin:/sbin; { " + command + "; } 2>/dev/null";
  std::FILE* pipe = ::popen(line.c_str(), "r");
  std::string output;
  char buffer[512];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr)
    output += buffer;
  if (::pclose(pipe) != 0)
    return std::nullopt;
  return output;
}

// The size in 512-byte units by the filesystem's own tool.
std::int64_t sizeByTool(const std::string& device, bool isExt) {
  const std::string command =
      isExt ? "dumpe2fs -h " + device +
                  " | awk '/^Block count:/{n=$3} /^Block size:/{s=$3} END{print n*(s/512)}'"
            : "fsck.fat -nv " + device +
                  " | awk '/bytes per logical sector/{s=$1} /sectors total/{n=$1} "
                  "END{print n*(s/512)}'";
  return std::stoll(outputOf(command).value_or("-1"));
}

class PhysicalSize : public ::testing::Test {
 protected:
  // The size that the device gives to a record of capacity 7.
  std::int64_t sizeOf(const std::string& device, const std::string& type, int expectedCode = 0) {
    Filesystem fs;
    fs.fsCapacity = fs.fsPhysicalSize = 7;
    EXPECT_EQ(GetPhysicalSize({device, "/m", type}, fs), expectedCode) << device;
    return fs.fsPhysicalSize;
  }

  test::TempDir dir;
  test::CapturedMessages messages;
};

TEST_F(PhysicalSize, equalsWhatTheFilesystemsOwnToolSays) {
  if (!outputOf("command -v mkfs.ext4 mkfs.fat"))
    GTEST_SKIP() << "needs mkfs.ext4 and mkfs.fat";
  const struct {
    const char* make;
    bool isExt;
    const char* type;
  } rows[] = {
      {"mkfs.ext4 -q -F -b 4096 -O 64bit $IMAGE 30001k", true, "ext4"},
      {"mkfs.ext2 -q -F -r 0 -b 1024 $IMAGE 9001k", true, "ext2"},
      {"mkfs.fat -C $IMAGE 3001", false, "msdos"},       // 16-bit sector count
      {"mkfs.fat -F 32 -C $IMAGE 80001", false, "fat"},  // 32-bit sector count
      {"mkfs.fat -S 4096 -C $IMAGE 40000", false, "msdos"},
  };
  const std::string image = dir.file("image");
  for (const auto& row : rows) {
    std::filesystem::remove(image);
    ASSERT_TRUE(outputOf("IMAGE=" + image + "; " + row.make)) << row.make;
    const std::int64_t expected = sizeByTool(image, row.isExt);
    ASSERT_GT(expected, 1000) << row.make;
    EXPECT_EQ(sizeOf(image, row.type), expected) << row.make;
  }
  EXPECT_TRUE(messages.lines.empty());
}

// A superblock written by hand: 5 blocks of 4,096 bytes, and 2 in the upper half of the count.
TEST_F(PhysicalSize, countsTheUpperHalfOnlyWithItsFeature) {
  const struct {
    char revision, incompat;
    std::int64_t expected;
  } rows[] = {
      {1, '\x80', ((std::int64_t{2} << 32) + 5) * 8},
      {1, 0x40, 5 * 8},
      {0, '\x80', 5 * 8},
  };
  for (const auto& row : rows) {
    std::string device(4096, '\0');
    device[1024 + 0x04] = 5;
    device[1024 + 0x18] = 2;
    device[1024 + 0x38] = 0x53;
    device[1024 + 0x39] = '\xEF';
    device[1024 + 0x4C] = row.revision;
    device[1024 + 0x60] = row.incompat;
    device[1024 + 0x150] = 2;
    test::writeFile(dir.file("device"), device);
    EXPECT_EQ(sizeOf(dir.file("device"), "ext4"), row.expected) << row.expected;
  }
}

TEST_F(PhysicalSize, leavesTheCapacityWhereTheDeviceDoesNotTell) {
  test::writeFile(dir.file("zeros"), std::string(4096, '\0'));
  test::writeFile(dir.file("empty"), "");
  // The signature alone, as a partition table has it, with a sector size of 0.
  test::writeFile(dir.file("table"), std::string(510, '\0') + "\x55\xAA" + std::string(3584, '\0'));
  ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
  const struct {
    const char* name;
    const char* type;
    const char* messageStart;
  } rows[] = {
      {"zeros", "ext3", "STA0099E Device $ "},
      {"empty", "ext4", "STA0099E Device $ "},
      {"table", "fat", "STA0099E Device $ "},
      {"fifo", "ext4", "STA0098E Cannot read the filesystem header on device $ - Illegal seek."},
      {"", "fat", "STA0098E Cannot read the filesystem header on device $ - Is a directory."},
  };
  for (const auto& row : rows) {
    messages.lines.clear();
    const std::string device = dir.file(row.name);
    EXPECT_EQ(sizeOf(device, row.type), 7) << row.name;
    std::string expected = row.messageStart;
    expected.replace(expected.find('$'), 1, device);
    ASSERT_EQ(messages.lines.size(), 1U) << row.name;
    EXPECT_TRUE(messages.lines[0].starts_with(expected)) << messages.lines[0];
  }
}

TEST_F(PhysicalSize, reportsADeviceThatCannotBeOpened) {
  const std::string gone = dir.file("gone");
  EXPECT_EQ(sizeOf(gone, "ext4", 4), 7);
  ASSERT_EQ(messages.of("STA0097E").size(), 1U);
  EXPECT_NE(messages.lines[0].find(gone + " - No such file or directory"), std::string::npos);
  // Types of no device that is understood are not looked at.
  EXPECT_EQ(sizeOf(gone, "xfs", 0), 7);
  EXPECT_EQ(sizeOf(gone, "vfat", 0), 7);
  EXPECT_EQ(messages.lines.size(), 1U);
}

}  // namespace
}  // namespace orv
