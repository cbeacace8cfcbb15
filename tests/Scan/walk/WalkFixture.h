#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>

#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "Scan/unix/ReadAhead.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"
#include "Scan/walk/FileAction.h"
#include "runtime/unx/virtstat.h"
#include "support/CapturedMessages.h"
#include "support/TempDir.h"

namespace orv::test {

// Writes down all that the walk shows, entry by entry.
class Recorder final : public FileAction {
 public:
  Recorder() : FileAction("Recorder") {}
  void actUpon(Scanner* scanner, FileAttributes* info) override {
    names.push_back(info->faName);
    std::string line = info->faName;
    for (const std::int64_t figure :
         {std::int64_t{info->faType}, info->faLength, info->faBlocks, info->faModified,
          std::int64_t{info->faAttributes}, std::int64_t{info->faLinkCount},
          static_cast<std::int64_t>(info->faInodeNumber)})
      line += " " + std::to_string(figure);
    lines.push_back(line + " " + info->faOwner->ugName + " " + info->faGroup->ugName);
    if (atEntry)
      atEntry(*static_cast<ScannerUnix*>(scanner), lines.size());
  }
  void directoryEntered(FileAttributes* info) override {
    lines.push_back("in " + info->faName);
    deepest = std::max(deepest, ++depth);
  }
  void directoryLeft() override {
    lines.emplace_back("out");
    --depth;
  }

  [[nodiscard]] bool has(const std::string& name) const {
    return std::ranges::find(names, name) != names.end();
  }

  std::vector<std::string> names;
  std::vector<std::string> lines;
  int depth = 0;
  int deepest = 0;
  std::function<void(ScannerUnix&, std::size_t)> atEntry;  // with the number of lines so far
};

// Walks over trees of its own.
class WalkTest : public ::testing::Test {
 protected:
  // The walk's return code; what it showed and said is in `recorder` and `messages`.
  int scan(const std::string& root, int threads = 1, std::int16_t type = 11, int timeout = 0,
           const std::string& localRoot = {}) {
    Filesystem filesystem;
    filesystem.fsMountPoint = root;
    filesystem.fsType = type;
    UberTable uberTable;
    UnixUserTable users{uberTable};
    FileTypeTable fileTypes;
    WalkOptions options;
    options.helpers = threads;
    options.statTimeout = timeout;
    StatThread statThread;
    options.statThread = &statThread;
    options.localRoot = localRoot;
    ScannerUnix scanner(filesystem, {{&recorder, nullptr}}, users, fileTypes, options);
    const bool isAhead = threads > 1 || timeout > 0;
    EXPECT_EQ(scanner.readAhead() != nullptr, isAhead);
    const int code = scanner.scan();
    EXPECT_EQ(isAhead ? scanner.readAhead()->entriesAhead() : 0, 0) << threads;
    EXPECT_EQ(recorder.depth, 0);
    return code;
  }
  // Whether the last walk counted so many entries.
  [[nodiscard]] bool counted(std::size_t entries) const {
    const std::string text = " " + std::to_string(entries) + " entries";
    return messages.of("AGT0144I").back().find(text) != std::string::npos;
  }

  void makeFile(const std::string& name) { writeFile(dir.file(name), "x"); }
  // `levels` nested directories named `name`, however long their path grows.
  void makeChain(const std::string& top, const std::string& name, int levels) {
    std::filesystem::create_directories(dir.file(top));
    UniqueFd parent(::open(dir.file(top).c_str(), O_DIRECTORY | O_CLOEXEC));
    for (int level = 0; level < levels; ++level) {
      ASSERT_EQ(::mkdirat(parent.get(), name.c_str(), 0755), 0);
      parent.reset(::openat(parent.get(), name.c_str(), O_DIRECTORY | O_CLOEXEC));
    }
  }

  TempDir dir;
  CapturedMessages messages;
  Recorder recorder;
};

}  // namespace orv::test
