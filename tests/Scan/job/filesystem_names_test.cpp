#include "Scan/job/FilesystemNames.h"

#include <gtest/gtest.h>

#include <array>

#include "Probe/NasFiler.h"
#include "Scan/unix/ScannerUnix.h"

namespace orv {
namespace {

struct FilerRow {
  std::int32_t osType;
  const char* name;
  const char* hostName;
  const char* address;
};

std::unique_ptr<Filesystem> makeFilesystem(std::int32_t id, const std::string& mountPoint) {
  auto filesystem = std::make_unique<Filesystem>();
  filesystem->fsID = id;
  filesystem->fsMountPoint = mountPoint;
  return filesystem;
}

std::unique_ptr<Filesystem> onFiler(const FilerRow& row, const std::string& mountPoint,
                                    const std::string& exportName = {}) {
  auto filesystem = makeFilesystem(1, mountPoint);
  filesystem->fsExportName = exportName;
  filesystem->nasFiler = std::make_unique<NasFiler>();
  filesystem->nasFiler->nasOsType = row.osType;
  filesystem->nasFiler->nasName = row.name;
  filesystem->nasFiler->nasHostName = row.hostName;
  filesystem->nasFiler->nasAddress = row.address;
  return filesystem;
}

TEST(FilesystemNamesTest, candidatesAreTheNamesOfTheMountTable) {
  using Names = std::vector<std::string>;
  const struct {
    FilerRow filer;
    const char* mountPoint;
    const char* exportName;
    Names expected;
  } rows[] = {
      {{1, "f1", "", "10.1.2.3"}, "/vol/a", "", {"f1:/vol/a", "10.1.2.3:/vol/a"}},
      {{1, " f1\t", "", " 10.1.2.3 "}, "/mnt", "/vol/a", {"f1:/vol/a", "10.1.2.3:/vol/a"}},
      {{1, "10.1.2.3", "10.1.2.3", ""}, "/x", "", {"10.1.2.3:/x"}},
      {{1, "", "::1", ""}, "/x", "", {"::1:/x", "[::1]:/x"}},
      {{1, "10.1.2.3", "", ""}, "vol/vol0", "", {"10.1.2.3:vol/vol0", "10.1.2.3:/vol/vol0"}},
      // Plain exports: the first name as it stands, and the second with the export.
      {{23, "f1:/x", "10.1.2.3", ""}, "x", "", {"f1:/x", "10.1.2.3:/x"}},
      {{23, "f1:/x", "", "10.1.2.3"}, "x", "", {"f1:/x"}},
      {{23, "f1:/x", "10.1.2.3", ""}, "/vol/vol0", "", {"f1:/x"}},
  };
  for (const auto& row : rows)
    EXPECT_EQ(mountCandidates(*onFiler(row.filer, row.mountPoint, row.exportName)), row.expected)
        << row.filer.name << " " << row.mountPoint;
  EXPECT_EQ(mountCandidates(*makeFilesystem(1, "/home")), Names{"/home"});
}

TEST(FilesystemNamesTest, theLastNameIsResolved) {
  const auto candidates = mountCandidates(*onFiler({1, "f1", "localhost", ""}, "/x"));
  ASSERT_EQ(candidates.size(), 3U);
  EXPECT_EQ(candidates[1], "localhost:/x");
  EXPECT_TRUE(candidates[2] == "127.0.0.1:/x" || candidates[2] == "[::1]:/x") << candidates[2];
  EXPECT_EQ(InetAddress::getHostAddress("no-such-host.invalid"), "no-such-host.invalid");
}

TEST(FilesystemNamesTest, messagesNameTheFilerAndItsExport) {
  EXPECT_EQ(qualifiedFSName(onFiler({1, "f1", " f1.net ", "10.1.2.3"}, "/vol/a").get()),
            "f1.net (/vol/a)");
  EXPECT_EQ(qualifiedFSName(onFiler({1, "f1", "", "10.1.2.3"}, "/mnt", "/vol/b").get()),
            "f1 (/vol/b)");
  EXPECT_EQ(qualifiedFSName(makeFilesystem(1, "/home").get()), "/home");
  EXPECT_EQ(qualifiedFSName(nullptr), "");
}

// The local ones come first; then domain by domain, filer by filer, each filer's from the last.
TEST(FilesystemNamesTest, filersAreGroupedByDomain) {
  auto list = std::make_unique<FilesystemList>();
  const std::array<std::int32_t, 3> rows[] = {{1, 7, 5}, {2, 0, 0}, {3, 8, 5}, {4, 7, 5},
                                              {5, 9, 2}, {6, 0, 0}, {7, 6, 0}};  // 0 for none
  for (const auto& [id, filer, domain] : rows) {
    auto filesystem = makeFilesystem(id, "/x");
    if (filer != 0) {
      filesystem->nasFiler = std::make_unique<NasFiler>();
      filesystem->nasFiler->nasID = filer;
    }
    if (domain != 0) {
      filesystem->nasFiler->domain = std::make_unique<Domain>();
      filesystem->nasFiler->domain->dmID = domain;
    }
    list->push_back(std::move(filesystem));
  }
  const auto idsOf = [](const FilesystemList& filesystems) {
    std::vector<std::int32_t> ids;
    for (const auto& filesystem : filesystems)
      ids.push_back(filesystem->fsID);
    return ids;
  };
  const auto arranged = arrangeFilesystems(std::move(list));
  EXPECT_EQ(idsOf(*arranged), (std::vector<std::int32_t>{2, 6, 7, 5, 4, 1, 3}));
  sortFilesystemsByID(*arranged);
  EXPECT_EQ(idsOf(*arranged), (std::vector<std::int32_t>{1, 2, 3, 4, 5, 6, 7}));
}

TEST(LocalPathTest, translatesWhatFits) {
  const struct {
    const char* serverRoot;
    const char* localRoot;
    std::string path;
    std::size_t available;
    bool fits;
    std::string local;
  } rows[] = {
      {"/vol/a", "/mnt", "/vol/a", 4098, true, "/mnt"},
      {"/vol/a", "/mnt", "/vol/a/", 4098, true, "/mnt/"},
      {"/vol/a", "/mnt", "/vol/a/b/c", 8, true, "/mnt/b/c"},
      {"/vol/a", "/mnt", "/vol/a/b/c", 7, false, "/mnt/b"},
      {"", "/mnt", "/b", 4098, true, "/mnt/b"},
      {"/vol/a", "", "/vol/a/b", 4098, true, "/b"},
      {"/vol/a", "", "/vol/a", 4098, true, "/"},
  };
  for (const auto& row : rows) {
    const LocalPath record{row.serverRoot, row.localRoot};
    std::string local;
    std::size_t available = row.available;
    EXPECT_EQ(record.retrieve(row.path, local, available), row.fits) << row.path;
    EXPECT_EQ(local, row.local) << row.path;
  }
}

}  // namespace
}  // namespace orv
