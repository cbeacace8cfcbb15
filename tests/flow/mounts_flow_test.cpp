// Jobs over real mounts, matched through the real /etc/mtab in a mount namespace of their own.

#include <sys/mount.h>

#include <cstdlib>

#include "support/Job.h"
#include "support/PrivateMounts.h"

namespace orv::test {
namespace {

class MountsFlow : public Job {
 protected:
  void SetUp() override {
    if (!canMount())
      GTEST_SKIP() << "SKIPPED: needs the right to mount in a private mount namespace";
  }

  // Mounts a filesystem of that type below the area; what went wrong, empty for nothing.
  std::string mountAt(const std::string& name, const std::string& type, const std::string& source) {
    const std::string target = area.file(name);
    std::filesystem::create_directories(target);
    if (::mount(source.c_str(), target.c_str(), type.c_str(), 0, nullptr) != 0)
      return "mount " + target + ": " + std::strerror(errno);
    return {};
  }

  // Makes an image with mkfs and mounts it through a loop device.
  std::string mountImage(const std::string& name, const std::string& type, int megabytes) {
    const std::string image = area.file(name + ".img");
    writeFile(image, "");
    std::filesystem::resize_file(image, static_cast<std::uintmax_t>(megabytes) << 20);
    std::filesystem::create_directories(area.file(name));
    const std::string command = "mkfs." + type + " -q " + image +
                                " >/dev/null 2>&1 && mount -o loop " + image + " " +
                                area.file(name);
    return std::system(command.c_str()) == 0 ? "" : command + " failed";
  }

  static std::string commandOutput(const std::string& command) {
    std::string output;
    FILE* pipe = ::popen(command.c_str(), "r");
    char buffer[256];
    while (::fgets(buffer, sizeof buffer, pipe) != nullptr)
      output += buffer;
    ::pclose(pipe);
    return output;
  }

  // The summary of the filesystem with that ID in the result.
  [[nodiscard]] static Row summaryOf(const ResultTree& tree, const std::string& fsID) {
    for (const ResultNode* profile : tree.root().all("CuStatDef"))
      for (const ResultNode* entry : profile->all("ResultsByFS"))
        if (entry->row().at("rfDirOrFS") == fsID)
          return entry->one("CuStatResults").one("SSummary").row();
    return {};
  }

  TempDir area;
};

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
