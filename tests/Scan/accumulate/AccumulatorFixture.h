#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Probe/Filesystem.h"
#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/results/RecordChain.h"
#include "Scan/walk/DirectoryReader.h"
#include "Scan/walk/Scanner.h"
#include "support/Printed.h"

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

// The names or values of a printed line.
inline std::vector<std::string> valuesOf(const std::string& line) {
  std::vector<std::string> values(1);
  for (const char c : line.substr(0, line.find('\n')))
    if (c == ',')
      values.emplace_back();
    else if (c != '"')
      values.back() += c;
  return values;
}

// The slots of the results that hold records, each with a blank behind it.
inline std::string filledSlots(const CuStatResults& results) {
  const std::string text = printed([&](GenericPrint& print) { results.printData(print); });
  const auto names = valuesOf(printed(CuStatResults::printHeader));
  const auto counts = valuesOf(text.substr(text.find('\n') + 1));
  std::string filled;
  for (std::size_t i = 1; i < names.size(); ++i)
    filled += counts.at(i) == "0" ? "" : names[i] + " ";
  return filled;
}

// What `get` says of each record of the chain, from its head.
template <typename Record, typename Get>
auto listed(const RecordChain<Record>& chain, Get get) {
  std::vector<std::decay_t<decltype(std::invoke(get, *chain.head()))>> values;
  for (const Record* record = chain.head(); record != nullptr; record = record->next.get())
    values.push_back(std::invoke(get, *record));
  return values;
}

}  // namespace orv::test
