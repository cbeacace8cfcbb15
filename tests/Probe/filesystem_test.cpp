#include "Probe/Filesystem.h"

#include <gtest/gtest.h>

#include "Probe/NasFiler.h"
#include "support/Printed.h"

namespace orv {
namespace {

TEST(FilesystemTest, fieldsAreFoundByNameInAnyOrder) {
  Filesystem filesystem;
  filesystem.inititializeObject(
      {"fsScanned", "fsUnknown", "fsMountPoint", "fsID", "fsMaxFiles", "fsCapacity", "fsType"},
      {{"Y", "7", "/a b", " 12kB", "9000000000", "-5", "65535"},
       {"N", "", "/b", "13", "", "", ""}});
  EXPECT_TRUE(filesystem.fsScanned);
  EXPECT_EQ(filesystem.fsMountPoint, "/a b");
  EXPECT_EQ(filesystem.fsID, 12);
  EXPECT_EQ(filesystem.fsMaxFiles, 9000000000U);
  EXPECT_EQ(filesystem.fsCapacity, -5);
  EXPECT_EQ(filesystem.fsType, -1);  // 65535 in 16 bits
}

TEST(FilesystemTest, numbersThatDoNotFitWrap) {
  const struct {
    const char* text;
    std::uint64_t maxFiles;
    std::int32_t id;
    std::uint32_t usedInodes;
  } rows[] = {
      {"many", 0, 0, 0},
      {"-1", UINT64_MAX, -1, UINT32_MAX},
      {"4294967297", 4294967297, 1, 1},
      {"2147483648", 2147483648, INT32_MIN, 2147483648},
      {"99999999999999999999", INT64_MAX, -1, UINT32_MAX},
  };
  for (const auto& row : rows) {
    Filesystem filesystem;
    filesystem.inititializeObject({"fsMaxFiles", "fsID", "fsUsedInodes"},
                                  {{row.text, row.text, row.text}});
    EXPECT_EQ(filesystem.fsMaxFiles, row.maxFiles) << row.text;
    EXPECT_EQ(filesystem.fsID, row.id) << row.text;
    EXPECT_EQ(filesystem.fsUsedInodes, row.usedInodes) << row.text;
  }
}

// Every field is set to a value of its own, so that a column under a wrong name shows.
TEST(FilesystemTest, everyFieldIsPrintedUnderItsName) {
  const std::string names =
      "fsID,fsLogicalDiskID,fsComputerID,fsScanningCompID,fsGroupID,fsMaxFiles,fsUsedInodes,"
      "fsFreeInodes,fsMountPoint,fsPhysicalSize,fsCapacity,fsUsedSpace,fsFreeSpace,fsScanTime,"
      "fsType,fsUseCount,fsScanned,fsDiscoveredTime,fsFileCount,fsDirectoryCount,fsExportName,"
      "fsLogDiskID,fsClusterSize,fsMFTEntrySize,hostNasMountPoint";
  HeaderArray header;
  std::vector<std::string> values;
  std::string line;
  std::istringstream columns(names);
  for (std::string name; std::getline(columns, name, ',');) {
    header.push_back(name);
    values.push_back(name == "fsScanned" ? "Y" : std::to_string(values.size() + 1));
    line += (line.empty() ? "\"" : ",\"") + values.back() + "\"";
  }
  Filesystem filesystem;
  filesystem.inititializeObject(header, {values});
  EXPECT_EQ(test::printed([&](GenericPrint& print) {
              Filesystem::printHeader(print);
              filesystem.printData(print);
            }),
            names + "\n[Filesystem]\n" + line + "\n[/Filesystem]\n");
}

TEST(NasFilerTest, filerAndDomainAreReadByName) {
  NasFiler filer;
  filer.inititializeObject(
      {"nasOsType", "nasName", "nasHostName", "nasAddress", "nasID", "nasComputerID"},
      {{"23", "filer", "filer.net", "10.0.0.1", "7", "9"}});
  EXPECT_EQ(filer.nasOsType, 23);
  EXPECT_EQ(filer.nasName, "filer");
  EXPECT_EQ(filer.nasHostName, "filer.net");
  EXPECT_EQ(filer.nasAddress, "10.0.0.1");
  EXPECT_EQ(filer.nasID, 7);
  EXPECT_EQ(filer.nasComputerID, 9);
  Domain domain;
  domain.inititializeObject({"dmName", "dmID"}, {{"corp", "3"}});
  EXPECT_EQ(domain.dmID, 3);
  EXPECT_EQ(domain.dmName, "corp");
}

}  // namespace
}  // namespace orv
