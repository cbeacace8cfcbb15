#pragma once

#include <sys/mount.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "flow/Figures.h"
#include "support/Job.h"
#include "support/PrivateMounts.h"

namespace orv::test {

// A job over real mounts, matched through the real /etc/mtab in a mount namespace of its own.
class MountJob : public Job {
 protected:
  void SetUp() override {
    if (!canMount())
      GTEST_SKIP() << "SKIPPED: needs the right to mount in a private mount namespace";
  }

  // Mounts a filesystem of that type below the area; throws when that fails.
  void mountAt(const std::string& name, const std::string& type = "tmpfs",
               const std::string& source = "none", unsigned long flags = 0) const {
    const std::string target = area.file(name);
    std::filesystem::create_directories(target);
    if (::mount(source.c_str(), target.c_str(), type.c_str(), flags, nullptr) != 0)
      throw std::runtime_error("mount " + target + ": " + std::strerror(errno));
  }

  // Makes an image with mkfs and mounts it through a loop device.
  void mountImage(const std::string& name, const std::string& type, int megabytes) const {
    const std::string image = area.file(name + ".img");
    writeFile(image, "");
    std::filesystem::resize_file(image, static_cast<std::uintmax_t>(megabytes) << 20);
    std::filesystem::create_directories(area.file(name));
    const std::string command = "mkfs." + type + " -q " + image +
                                " >/dev/null 2>&1 && mount -o loop " + image + " " +
                                area.file(name);
    if (std::system(command.c_str()) != 0)
      throw std::runtime_error(command + " failed");
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

  // Runs `body` with mounts of its own; what it throws, and failed expectations of its own, count.
  template <typename Body>
  static void inMounts(const Body& body, const std::string& what = {}) {
    static_assert(std::is_void_v<decltype(body())>, "failures are thrown or expected");
    const std::string error = inPrivateMounts([&body]() -> std::string {
      const bool hadFailed = ::testing::Test::HasFailure();
      body();
      std::fflush(stdout);
      return ::testing::Test::HasFailure() && !hadFailed ? "expectations failed" : "";
    });
    EXPECT_EQ(error, "") << what;
  }

  TempDir area;
};

}  // namespace orv::test
