#include "Probe/Filesystem.h"

#include <gtest/gtest.h>

#include "Common/format/GenericPrint.h"
#include "Probe/NasFiler.h"
#include "runtime/ut/ORVException.h"
#include "support/TempDir.h"

namespace orv {
namespace {

TEST(FilesystemTest, typeCodesAreRowsLessOne) {
  const struct {
    std::int16_t code;
    const char* name;
    bool isFAT;
    bool isFileset;
  } rows[] = {
      {-1, "UNKNOWN", false, false},  {Filesystem::TYPE_FAT, "FAT", true, false},
      {1, "FAT32", true, false},      {2, "NTFS4", false, false},
      {4, "EXT2", false, false},      {Filesystem::TYPE_FAKE, "FAKE", false, false},
      {17, "ZEV_JFS2", false, false}, {18, "ZENFS", false, true},
      {19, "ZENFS", false, true},     {20, "REISERFS", false, false},
      {23, "EXT4", false, false},     {25, "CIFS", false, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Filesystem::TYPES[static_cast<std::size_t>(row.code + 1)], row.name) << row.code;
    EXPECT_EQ(Filesystem::isFAT(row.code), row.isFAT) << row.code;
    EXPECT_EQ(Filesystem::isZENFSFileset(row.code), row.isFileset) << row.code;
  }
}

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
      {"", 0, 0, 0},
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

TEST(FilesystemTest, rowThatDoesNotMatchTheHeaderSetsNothing) {
  const DataArray unfit[] = {{{"5"}}, {{"5", "/x", "6"}}, {}};
  for (const DataArray& rows : unfit) {
    Filesystem filesystem;
    try {
      filesystem.inititializeObject({"fsID", "fsMountPoint"}, rows);
      ADD_FAILURE() << rows.size();
    } catch (const OrvObjectCreationException& failure) {
      EXPECT_EQ(failure.code, 325);
    }
    EXPECT_EQ(filesystem.fsID, 0);
  }
}

// Every field is set to a value of its own, so that a column under a wrong name shows.
TEST(FilesystemTest, everyFieldIsPrintedUnderItsName) {
  const test::TempDir dir;
  const std::string path = dir.file("out.dat");
  Filesystem filesystem;
  filesystem.inititializeObject({"fsID",
                                 "fsLogicalDiskID",
                                 "fsComputerID",
                                 "fsScanningCompID",
                                 "fsGroupID",
                                 "fsMaxFiles",
                                 "fsUsedInodes",
                                 "fsFreeInodes",
                                 "fsMountPoint",
                                 "fsPhysicalSize",
                                 "fsCapacity",
                                 "fsUsedSpace",
                                 "fsFreeSpace",
                                 "fsScanTime",
                                 "fsType",
                                 "fsUseCount",
                                 "fsScanned",
                                 "fsDiscoveredTime",
                                 "fsFileCount",
                                 "fsDirectoryCount",
                                 "fsExportName",
                                 "fsLogDiskID",
                                 "fsClusterSize",
                                 "fsMFTEntrySize",
                                 "hostNasMountPoint"},
                                {{"1",  "2",    "3",    "4",  "5",  "6",  "7",
                                  "8",  "/mnt", "10",   "11", "12", "13", "1700000000000",
                                  "15", "16",   "true", "18", "19", "20", "vol/x",
                                  "22", "23",   "24",   ""}});
  filesystem.fsMaxFiles = UINT64_MAX;  // as some filesystems report
  GenericPrint print(path);
  Filesystem::printHeader(print);
  filesystem.printData(print);
  print.close();
  EXPECT_EQ(test::readFile(path),
            "fsID,fsLogicalDiskID,fsComputerID,fsScanningCompID,fsGroupID,fsMaxFiles,fsUsedInodes,"
            "fsFreeInodes,fsMountPoint,fsPhysicalSize,fsCapacity,fsUsedSpace,fsFreeSpace,"
            "fsScanTime,fsType,fsUseCount,fsScanned,fsDiscoveredTime,fsFileCount,fsDirectoryCount,"
            "fsExportName,fsLogDiskID,fsClusterSize,fsMFTEntrySize,hostNasMountPoint\n"
            "[Filesystem]\n"
            "\"1\",\"2\",\"3\",\"4\",\"5\",\"18446744073709551615\",\"7\",\"8\",\"/mnt\",\"10\","
            "\"11\",\"12\",\"13\",\"1700000000000\",\"15\",\"16\",\"Y\",\"18\",\"19\",\"20\","
            "\"vol/x\",\"22\",\"23\",\"24\",\n"
            "[/Filesystem]\n");
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
  EXPECT_THROW(domain.inititializeObject({"dmName"}, {}), OrvObjectCreationException);
}

}  // namespace
}  // namespace orv
