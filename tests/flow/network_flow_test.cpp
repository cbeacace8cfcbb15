// Jobs over filers' exports, cluster filesystems and filesystems that are made up.

#include "flow/MountJob.h"

namespace orv::test {
namespace {

// A filesystem of a filer, as a definition row has it: name, host name, address; "null" for none.
struct FilerFilesystem {
  int osType;
  std::string names;
  std::string exportPath;
};

std::string definitionOf(const FilerFilesystem& row) {
  return "[Header]\n[AgentScan]\nasJobName,asScanningCompID\n"
         "[Filesystem]\nfsID,fsMountPoint,fsType\n"
         "[NasFiler]\nnasID,nasComputerID,nasOsType,nasName,nasHostName,nasAddress\n"
         "[Domain]\ndmID,dmName\n"
         "[CuStatDef]\nsdID,sdName,sdType,sdSummary,sdLargestFiles,sdLargestDirectories\n"
         "[/Header]\n[AgentScan]\n\"J\",1\n"
         "[Filesystem]\n1," +
         row.exportPath + ",14\n[NasFiler]\n5,6," + std::to_string(row.osType) + "," + row.names +
         "\n[Domain]\n3,\"net\"\n[/Domain]\n[/NasFiler]\n[/Filesystem]\n"
         "[CuStatDef]\n1,\"p\",1,Y,5,5\n[/CuStatDef]\n[/AgentScan]\n";
}

class NetworkFlow : public Job {
 protected:
  TempDir tree;
};

TEST_F(NetworkFlow, anExportIsScannedUnderItsServersNames) {
  writeFile(tree.file("sub/file"), "12345");
  for (const char* source : {"filer1:/vol/data", "10.1.2.3:/vol/data", "[::1]:/vol/data",
                             "127.0.0.1:/vol/data", "filer1:/vol/vol0"})
    mountEntry(tree.path(), "nfs4", source);
  const FilerFilesystem rows[] = {
      {1, "filer1,null,null", "/vol/data"},
      {1, "elsewhere,\" filer1 \",null", "/vol/data"},
      {1, "elsewhere,null,10.1.2.3", "/vol/data"},
      {1, "::1,null,null", "/vol/data"},
      {1, "null,localhost,null", "/vol/data"},
      {1, "filer1,null,null", "vol/vol0"},
      {23, "filer1:/vol/data,null,null", "/vol/data"},
      {23, "elsewhere,filer1,null", "vol/data"},
  };
  for (const FilerFilesystem& row : rows) {
    writeFile(definitionFile(), definitionOf(row));
    ASSERT_EQ(run(), 0) << row.names << log();
    const ResultTree results = result();
    EXPECT_EQ(results.root().one("Filesystem").row().at("fsMountPoint"), row.exportPath + "/");
    const ResultNode& figures =
        results.root().one("CuStatDef").one("ResultsByFS").one("CuStatResults");
    EXPECT_EQ(figures.one("SFile").row().at("faName"), row.exportPath + "/sub/file") << row.names;
    EXPECT_EQ(figures.one("SDirectory").rows.back().at("faName"), row.exportPath + "/sub")
        << row.names;
    EXPECT_EQ(figures.one("SSummary").row().at("sumFileCount"), "1") << row.names;
  }
  EXPECT_NE(log().find("filer1 (/vol/data)"), std::string::npos) << log();
}

TEST_F(NetworkFlow, anExportIsScannedWithATimeoutAsWithoutOne) {
  std::string deep;
  for (int i = 0; i < 5; ++i)
    deep += "/" + std::string(200, static_cast<char>('a' + i));
  writeFile(tree.path() + deep + "/file", "1");
  mountEntry(tree.path(), "nfs4", "filer1:/vol/data");
  for (const char* timeout : {"0", "1000", "-1"}) {
    writeFile(definitionFile(), definitionOf({1, "filer1,null,null", "/vol/data"}));
    ASSERT_EQ(run({"-nfstimeout", timeout}), 0) << log();
    const ResultTree results = result();
    const ResultNode& figures =
        results.root().one("CuStatDef").one("ResultsByFS").one("CuStatResults");
    EXPECT_EQ(figures.one("SFile").row().at("faName"), "/vol/data" + deep + "/file") << timeout;
    EXPECT_EQ(figures.one("SSummary").row().at("sumDirectoryCount"), "6") << timeout;
  }
}

TEST_F(NetworkFlow, anExportThatIsNotMountedIsNamedByItsPath) {
  mountEntry(tree.path(), "nfs4", "filer1:/vol/data");
  writeFile(definitionFile(), definitionOf({1, "no-such-host.invalid,null,null", "/vol/data"}));
  EXPECT_EQ(run(), 12);
  EXPECT_NE(log().find("STA0103W"), std::string::npos);
  EXPECT_NE(log().find("STA0647E"), std::string::npos);
}

TEST_F(NetworkFlow, aMadeUpFilesystemHasItsFiguresWhileItIsScanned) {
  writeFile(tree.file("file"), "1");
  mountEntry(tree.path());
  define(Definition().filesystem(1, tree.path(), 16).profile(1, "1", SUMMARY));
  EXPECT_EQ(run(), 0) << log();
  const ResultTree results = result();
  const Row& filesystem = results.root().one("Filesystem").row();
  EXPECT_EQ(filesystem.at("fsType"), "16");
  EXPECT_NE(filesystem.at("fsCapacity"), "0");
  EXPECT_EQ(filesystem.at("fsCapacity"), results.root()
                                             .one("CuStatDef")
                                             .one("ResultsByFS")
                                             .one("CuStatResults")
                                             .one("SSummary")
                                             .row()
                                             .at("sumCapacity"));
}

// The filesystem's own command stands where it is installed, in an overlay of /usr.
class ClusterFlow : public MountJob {
 protected:
  void installCommand(const std::string& output) const {
    mountAt("usr");
    const std::string command = area.file("usr/upper/lpp/kmfs/bin/kmsnapdir");
    writeFile(command, "#!/bin/sh\n" + output + "\n");
    std::filesystem::permissions(command, std::filesystem::perms::owner_all);
    std::filesystem::create_directories(area.file("usr/work"));
    const std::string options =
        "lowerdir=/usr,upperdir=" + area.file("usr/upper") + ",workdir=" + area.file("usr/work");
    EXPECT_EQ(::mount("overlay", "/usr", "overlay", 0, options.c_str()), 0) << errno;
  }
};

TEST_F(ClusterFlow, theSnapshotDirectoryIsTheOneThatTheCommandNames) {
  const struct {
    const char* command;
    const char* leftOut;  // of .snapdir and .other; empty for none
  } rows[] = {
      {"echo ' \".snapdir\" in /x'", ".snapdir"},
      {"echo 'name=.other='; echo '/.snapdir/'", ".other"},
      {"echo '/.snapdir/'; exit 1", ""},
      {"true", ""},
      {nullptr, ""},
  };
  for (const auto& row : rows)
    inMounts(
        [this, &row] {
          mountAt("cluster");
          if (row.command != nullptr)
            installCommand(row.command);
          for (const char* name : {".snapdir", ".other", ".snapshots"})
            writeFile(area.file("cluster/") + name + "/file", "1");
          writeFile(area.file("cluster/below/.snapdir/file"), "1");
          define(Definition().filesystem(1, area.file("cluster"), 21).profile(1, "1", SUMMARY));
          EXPECT_EQ(run(), 0) << log();
          // The one below the top level counts, and ".snapshots" never does.
          EXPECT_EQ(summaryOf(result(), "1").at("sumFileCount"), *row.leftOut == '\0' ? "3" : "2");
        },
        row.command == nullptr ? "no command" : row.command);
}

}  // namespace
}  // namespace orv::test
