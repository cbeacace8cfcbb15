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

  // Runs `body` with mounts of its own. It returns what went wrong; failed expectations of its own
  // count as well.
  static void inMounts(const std::function<std::string()>& body, const std::string& what = {}) {
    const std::string error = inPrivateMounts([&body] {
      const bool hadFailed = ::testing::Test::HasFailure();
      std::string answer = body();
      if (::testing::Test::HasFailure() && !hadFailed)
        answer += " expectations failed";
      std::fflush(stdout);
      return answer;
    });
    EXPECT_EQ(error, "") << what;
  }

  TempDir area;
};

}  // namespace orv::test
