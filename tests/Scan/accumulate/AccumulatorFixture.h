#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Probe/Filesystem.h"
#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "Scan/results/RecordChain.h"
#include "Scan/walk/DirectoryReader.h"
#include "Scan/walk/Scanner.h"

namespace orv::test {

// A user table for scanners that resolve nobody.
class NoUsers final : public UserTable {
 public:
  [[nodiscard]] UserOrGroup* lookup(const Sid&, bool) override { return nullptr; }
};

// What accumulators are shown: a scanner that never walks, whose scan starts at second 0.
class AccumulatorTest : public ::testing::Test {
 protected:
  AccumulatorTest() {
    filesystem.fsID = 3;
    filesystem.fsType = Filesystem::TYPE_KLFS;  // 0 would be FAT
  }

  static FileAttributes entry(std::uint8_t type, std::int64_t length,
                              const std::string& name = "/e") {
    FileAttributes info;
    info.faType = type;
    info.faName = name;
    info.faLength = length;
    info.faLinkCount = 1;
    return info;
  }

  Filesystem filesystem;
  NoUsers users;
  FileTypeTable types;
  // Walks nothing: the accumulators ask it for the filesystem, the scan start and the file types.
  class StillScanner final : public Scanner {
   public:
    using Scanner::Scanner;

   protected:
    std::unique_ptr<DirectoryReader> makeReader(int) override { return nullptr; }
  };
  StillScanner scanner{filesystem, {}, users, types};
};

// What `get` says of each record of the chain, from its head.
template <typename Record, typename Get>
auto listed(const RecordChain<Record>& chain, Get get) {
  std::vector<std::decay_t<decltype(std::invoke(get, *chain.head()))>> values;
  for (const Record* record = chain.head(); record != nullptr; record = record->next.get())
    values.push_back(std::invoke(get, *record));
  return values;
}

}  // namespace orv::test
