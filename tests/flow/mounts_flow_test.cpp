// Jobs over real mounts of several kinds.

#include <sys/statvfs.h>

#include "flow/MountJob.h"
#include "support/HangFs.h"

namespace orv::test {
namespace {

using MountsFlow = MountJob;

TEST_F(MountsFlow, tmpfsAndExt4ImageAreScannedThroughTheRealMountTable) {
  inMounts([this] {
    mountAt("tmp");
    mountImage("ext", "ext4", 16);
    writeFile(area.file("tmp/one"), "1");
    writeFile(area.file("ext/a/two"), "22");
    define(Definition()
               .filesystem(1, area.file("tmp"))
               .filesystem(2, area.file("ext"))
               .profile(1, "1", SUMMARY));
    ASSERT_EQ(run(), 0) << log();
    const ResultTree tree = result();
    EXPECT_EQ(summaryOf(tree, "1").at("sumFileCount"), "1");
    EXPECT_EQ(summaryOf(tree, "2").at("sumFileCount"), "1");
    EXPECT_EQ(summaryOf(tree, "2").at("sumDirectoryCount"), "3");
    // The physical size is that of the filesystem, in 512-byte blocks.
    const std::string blocks = commandOutput(
        "dumpe2fs -h " + area.file("ext.img") +
        " 2>/dev/null | awk '/^Block count/{n=$3} /^Block size/{s=$3} END{print n*s/512}'");
    const Row& ext = tree.root().all("Filesystem").at(1)->row();
    EXPECT_EQ(ext.at("fsPhysicalSize") + "\n", blocks);
    EXPECT_LT(std::stol(ext.at("fsCapacity")), std::stol(ext.at("fsPhysicalSize")));
  });
}

TEST_F(MountsFlow, otherFilesystemsInsideAreCountedButNotEntered) {
  inMounts([this] {
    mountAt("outer");
    mountAt("outer/inner");
    writeFile(area.file("outer/inner/hidden"), "x");
    writeFile(area.file("outer/seen"), "x");
    define(Definition().filesystem(1, area.file("outer")).profile(1, "1", SUMMARY));
    ASSERT_EQ(run(), 0) << log();
    const Row summary = summaryOf(result(), "1");
    EXPECT_EQ(summary.at("sumFileCount"), "1");
    EXPECT_EQ(summary.at("sumDirectoryCount"), "1");
    // The root, the file and the mount point.
    for (const std::string& said : {std::string("walk is complete: 3 entries"),
                                    "another device: " + area.file("outer/inner\n")})
      EXPECT_NE(log().find(said), std::string::npos) << log();
  });
}

TEST_F(MountsFlow, mountPointsWithBlanksAndOvermountsAreFound) {
  inMounts([this] {
    const std::string name = "with blank\tand\\slash";
    mountAt(name);
    writeFile(area.file(name + "/below"), "x");
    writeFile(area.file(name + "/below2"), "x");
    mountAt(name);
    writeFile(area.file(name + "/above"), "x");
    define(Definition().filesystem(1, area.file(name)).profile(1, "1", SUMMARY));
    ASSERT_EQ(run(), 0) << log();
    EXPECT_EQ(summaryOf(result(), "1").at("sumFileCount"), "1");
  });
}

// Where nothing tells the size of the filesystem itself, it is what the filesystem offers.
TEST_F(MountsFlow, diskFilesystemsHaveTheFiguresOfTheSystem) {
  // About the smallest that each mkfs accepts.
  for (const auto& [type, megabytes] : {std::pair<std::string, int>("xfs", 320), {"btrfs", 120}}) {
    if (readFile("/proc/filesystems").find("\t" + type + "\n") == std::string::npos ||
        std::system(("command -v mkfs." + type + " >/dev/null").c_str()) != 0)
      continue;
    inMounts(
        [this, &name = type, &size = megabytes] {
          mountImage(name, name, size);
          const std::string root = area.file(name);
          writeFile(root + "/a/one", "1");
          writeFile(root + "/a/b/two", std::string(100'000, '2'));
          std::filesystem::create_hard_link(root + "/a/one", root + "/again");
          define(Definition().filesystem(1, root).profile(1, "1", FIGURES));
          EXPECT_EQ(run(), 0) << log();
          const ResultTree tree = result();
          expectFigures(tree.root().one("CuStatDef").one("ResultsByFS"), Oracle(root, 1, 0), root);
          struct statvfs st {};
          EXPECT_EQ(::statvfs(root.c_str(), &st), 0);
          const Row& filesystem = tree.root().one("Filesystem").row();
          const auto units = std::to_string(st.f_blocks * st.f_frsize / 512);
          EXPECT_EQ(filesystem.at("fsCapacity"), units);
          EXPECT_EQ(filesystem.at("fsPhysicalSize"), units);
          EXPECT_EQ(filesystem.at("fsMaxFiles"), std::to_string(st.f_files));
        },
        type);
  }
}

TEST_F(MountsFlow, datesBeyondAllMillisecondsAreTheFurthest) {
  inMounts([this] {
    mountAt("tmp");
    const std::map<std::string, std::int64_t> dates = {{"past", INT64_MIN}, {"future", INT64_MAX}};
    for (const auto& [name, date] : dates) {
      writeFile(area.file("tmp/" + name), name);
      const timespec times[] = {{date / 2, 0}, {date / 2, 0}};
      ASSERT_EQ(::utimensat(AT_FDCWD, area.file("tmp/" + name).c_str(), times, 0), 0);
    }
    define(Definition()
               .filesystem(1, area.file("tmp"))
               .profile(1, "1", {{"sdSummary", "Y"}, {"sdLargestFiles", "2"}}));
    EXPECT_EQ(run(), 0) << log();
    const ResultTree tree = result();
    const ResultNode& entry = tree.root().one("CuStatDef").one("ResultsByFS");
    for (const Row& row : entry.one("CuStatResults").one("SFile").rows)
      for (const char* date : {"faModified", "faAccessed"})
        EXPECT_EQ(row.at(date),
                  std::to_string(dates.at(std::filesystem::path(row.at("faName")).filename())))
            << row.at("faName");
  });
}

// A bind mount shows the same device: as a scan root it is a filesystem of its own, inside another
// one it is entered like a directory.
TEST_F(MountsFlow, bindMountsAreScannedLikeWhatTheyShow) {
  inMounts([this] {
    mountAt("tmp");
    writeFile(area.file("tmp/a/one"), "1");
    for (const char* target : {"tmp/b", "bound"})
      mountAt(target, "none", area.file("tmp/a"), MS_BIND);
    define(Definition()
               .filesystem(1, area.file("tmp"))
               .filesystem(2, area.file("bound"))
               .profile(1, "1", SUMMARY));
    EXPECT_EQ(run(), 0) << log();
    EXPECT_EQ(summaryOf(result(), "1").at("sumFileCount"), "2");
    EXPECT_EQ(summaryOf(result(), "2").at("sumFileCount"), "1");
  });
}

// Stops the job while it has the scan root open and takes the mount away.
TEST_F(MountsFlow, aMountThatDisappearsDuringTheWalkDoesNotHoldUpTheJob) {
  constexpr int DIRECTORIES = 100;
  constexpr int FILES = 50;
  for (const char* timeout : {"0", "1000"})
    inMounts(
        [this, timeout] {
          mountAt("gone");
          mountAt("tmp");
          for (int i = 0; i < DIRECTORIES * FILES; ++i)
            writeFile(
                area.file("gone/d" + std::to_string(i % DIRECTORIES)) + "/" + std::to_string(i),
                "");
          writeFile(area.file("tmp/file"), "1");
          define(Definition()
                     .filesystem(1, area.file("gone"))
                     .filesystem(2, area.file("tmp"))
                     .profile(1, "1", SUMMARY));
          std::filesystem::remove(agent() + "/log/scan.log");
          Process job = start({"-nfstimeout", timeout});
          while (log().find("STA0025I") == std::string::npos)
            ::usleep(1'000);
          job.signal(SIGSTOP);
          // The walk holds on to its open root; what is reached by path is gone.
          const bool isOpen =
              commandOutput("ls -l /proc/" + std::to_string(job.pid()) + "/fd").find("/gone") !=
              std::string::npos;
          EXPECT_EQ(::umount2(area.file("gone").c_str(), MNT_DETACH), 0);
          job.signal(SIGCONT);
          // A root that was not open yet is missed.
          const int code = job.wait();
          EXPECT_TRUE(code == 0 || (code == 4 && !isOpen)) << log();
          if (isOpen) {
            EXPECT_EQ(summaryOf(result(), "1").at("sumFileCount"),
                      std::to_string(DIRECTORIES * FILES));
          }
          EXPECT_EQ(summaryOf(result(), "2").at("sumFileCount"), "1");
        },
        timeout);
}

// What lies where a filesystem was matched, and is not it any more, is not scanned in its place.
TEST_F(MountsFlow, aFilesystemThatIsGoneOrHiddenIsNotScanned) {
  if (!HangFs::isPossible())
    GTEST_SKIP() << "SKIPPED: needs /dev/fuse";
  for (const char* timeout : {"0", "1000"})
    inMounts(
        [this, timeout] {
          writeFile(area.file("source/hang-stat"), "");
          std::filesystem::create_directories(area.file("first"));
          HangFs first(area.file("source"), area.file("first"));
          for (const char* name : {"gone", "above/hidden", "above"})
            mountAt(name);
          writeFile(area.file("above/hidden/file"), "1");
          Definition definition;
          definition.filesystem(1, area.file("first"));
          definition.filesystem(2, area.file("gone"));
          definition.filesystem(3, area.file("above/hidden"));
          define(definition.profile(1, "1", SUMMARY));
          std::filesystem::remove(agent() + "/log/scan.log");
          Process job = start({"-nfstimeout", timeout});
          while (log().find("STA0025I") == std::string::npos)
            ::usleep(10'000);
          EXPECT_EQ(::umount2(area.file("gone").c_str(), MNT_DETACH), 0);
          writeFile(area.file("gone/beneath"), "1");
          first.kill();
          EXPECT_EQ(job.wait(), 4) << log();
          EXPECT_TRUE(summaryOf(result(), "2").empty() && summaryOf(result(), "3").empty());
          for (const std::string said : {"gone/ cannot be accessed: it was unmounted",
                                         "above/hidden cannot be accessed: the filesystem mounted"})
            EXPECT_NE(log().find(area.file(said)), std::string::npos) << log();
        },
        timeout);
}

// An overlay's files may show the devices of its layers.
TEST_F(MountsFlow, overlaysAreScannedWhole) {
  inMounts([this] {
    for (const char* name : {"low", "up"})
      mountAt(name);
    for (const char* name : {"up/work", "up/data", "all"})
      std::filesystem::create_directories(area.file(name));
    for (const char* name : {"low/a/one", "low/two", "up/data/a/three", "up/data/two"})
      writeFile(area.file(name), name);
    const std::string layers = "lowerdir=" + area.file("low") +
                               ",upperdir=" + area.file("up/data") +
                               ",workdir=" + area.file("up/work");
    if (::mount("o", area.file("all").c_str(), "overlay", 0, layers.c_str()) != 0) {
      std::puts("SKIPPED: this system mounts no overlay here");
      return;
    }
    mountAt("all/inner");
    writeFile(area.file("all/inner/other"), "");
    for (const char* threads : {"1", "3"}) {
      env["ORV_WALK_THREADS"] = threads;
      define(Definition().filesystem(1, area.file("all")).profile(1, "1", SUMMARY));
      EXPECT_EQ(run(), 0) << log();
      EXPECT_EQ(summaryOf(result(), "1").at("sumFileCount"), "3") << threads;
      EXPECT_EQ(summaryOf(result(), "1").at("sumDirectoryCount"), "2") << threads;
    }
  });
}

}  // namespace
}  // namespace orv::test
