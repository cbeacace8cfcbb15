// Jobs over real mounts of several kinds.

#include "flow/MountJob.h"

namespace orv::test {
namespace {

using MountsFlow = MountJob;

TEST_F(MountsFlow, tmpfsAndExt4ImageAreScannedThroughTheRealMountTable) {
  EXPECT_EQ(
      inPrivateMounts([this]() -> std::string {
        std::string error = mountAt("tmp", "tmpfs", "tmpfs");
        if (error.empty())
          error = mountImage("ext", "ext4", 16);
        if (!error.empty())
          return error;
        writeFile(area.file("tmp/one"), "1");
        writeFile(area.file("ext/a/two"), "22");
        define(Definition()
                   .filesystem(1, area.file("tmp"))
                   .filesystem(2, area.file("ext"))
                   .profile(1, "1", SUMMARY));
        if (const int code = run(); code != 0)
          return "code " + std::to_string(code) + "\n" + log();
        const ResultTree tree = result();
        if (summaryOf(tree, "1").at("sumFileCount") != "1" ||
            summaryOf(tree, "2").at("sumFileCount") != "1" ||
            summaryOf(tree, "2").at("sumDirectoryCount") != "3")
          return "wrong counts";
        // The physical size is that of the filesystem, in 512-byte blocks.
        const std::string blocks = commandOutput(
            "dumpe2fs -h " + area.file("ext.img") +
            " 2>/dev/null | awk '/^Block count/{n=$3} /^Block size/{s=$3} END{print n*s/512}'");
        const Row& ext = tree.root().all("Filesystem").at(1)->row();
        if (ext.at("fsPhysicalSize") + "\n" != blocks)
          return "physical size " + ext.at("fsPhysicalSize") + " against " + blocks;
        return ext.at("fsCapacity") < ext.at("fsPhysicalSize") ? "" : "capacity not smaller";
      }),
      "");
}

TEST_F(MountsFlow, otherFilesystemsInsideAreCountedButNotEntered) {
  EXPECT_EQ(inPrivateMounts([this]() -> std::string {
              std::string error = mountAt("outer", "tmpfs", "tmpfs");
              if (error.empty())
                error = mountAt("outer/inner", "tmpfs", "tmpfs");
              if (!error.empty())
                return error;
              writeFile(area.file("outer/inner/hidden"), "x");
              writeFile(area.file("outer/seen"), "x");
              define(Definition().filesystem(1, area.file("outer")).profile(1, "1", SUMMARY));
              if (const int code = run(); code != 0)
                return "code " + std::to_string(code) + "\n" + log();
              const Row summary = summaryOf(result(), "1");
              if (summary.at("sumFileCount") != "1" || summary.at("sumDirectoryCount") != "1")
                return "entered " + summary.at("sumFileCount");
              // The root, the file and the mount point.
              return log().find("walk is complete: 3 entries") != std::string::npos ? "" : log();
            }),
            "");
}

TEST_F(MountsFlow, mountPointsWithBlanksAndOvermountsAreFound) {
  EXPECT_EQ(inPrivateMounts([this]() -> std::string {
              const std::string name = "with blank\tand\\slash";
              std::string error = mountAt(name, "tmpfs", "tmpfs");
              if (!error.empty())
                return error;
              writeFile(area.file(name + "/below"), "x");
              writeFile(area.file(name + "/below2"), "x");
              error = mountAt(name, "tmpfs", "tmpfs");
              if (!error.empty())
                return error;
              writeFile(area.file(name + "/above"), "x");
              define(Definition().filesystem(1, area.file(name)).profile(1, "1", SUMMARY));
              if (const int code = run(); code != 0)
                return "code " + std::to_string(code) + "\n" + log();
              return summaryOf(result(), "1").at("sumFileCount") == "1" ? "" : "wrong mount";
            }),
            "");
}

}  // namespace
}  // namespace orv::test
