// Monitored directories in jobs over real trees: which specifications are bound, what is measured
// in each directory, and how the result tells it.

#include <algorithm>
#include <memory>
#include <set>

#include "flow/Figures.h"
#include "flow/Oracle.h"
#include "support/HostileTree.h"
#include "support/Job.h"

namespace orv::test {
namespace {

std::string withBackslashes(std::string path, const std::string& separator) {
  for (std::size_t at = 0; (at = path.find('/', at)) != std::string::npos; at += separator.size())
    path.replace(at, 1, separator);
  return path;
}

std::string upperCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// What a profile found in a directory.
struct Watched {
  std::string path;             // as the result names it
  std::set<std::string> specs;  // mdsIDs
  const ResultNode* results;
};

// The directories of a profile entity, in file order; filesystems are left out.
std::vector<Watched> watchedBy(const ResultNode& profile) {
  std::vector<Watched> found;
  for (const ResultNode* entry : profile.all("ResultsByFS", "SMonDir")) {
    const Row& row = entry->one("SMonDir").row();
    Watched watched{row.at("faName"), {}, entry};
    std::istringstream specs(row.at("smDirSpecs"));
    for (std::string id; std::getline(specs, id, ',');)
      watched.specs.insert(id);
    found.push_back(std::move(watched));
  }
  return found;
}

std::vector<std::string> idsOf(const ResultTree& file, const std::string& entity,
                               const std::string& column) {
  std::vector<std::string> ids;
  for (const ResultNode* node : file.root().all(entity))
    ids.push_back(node->row().at(column));
  return ids;
}

using Paths = std::vector<std::string>;
using Ids = std::vector<std::string>;

class DirectoriesFlow : public Job {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(root);
    mountEntry(root);
  }

  [[nodiscard]] ResultTree runFor(const Definition& definition, int code = 0) {
    define(definition);
    EXPECT_EQ(run(), code) << log();
    return result();
  }

  // The profile entity of that number that holds the directories: the last one.
  [[nodiscard]] static const ResultNode& directoriesOf(const ResultTree& file,
                                                       const std::string& sdID) {
    const ResultNode* found = nullptr;
    for (const ResultNode* profile : file.root().all("CuStatDef"))
      if (profile->row().at("sdID") == sdID)
        found = profile;
    if (found == nullptr)
      throw std::runtime_error("no profile " + sdID);
    return *found;
  }

  [[nodiscard]] static Paths pathsOf(const ResultNode& profile) {
    Paths paths;
    for (const Watched& watched : watchedBy(profile))
      paths.push_back(watched.path);
    std::ranges::sort(paths);
    return paths;
  }

  // Each directory of the profile against the oracle.
  static void expectOracle(const ResultNode& profile, std::int64_t scanStart,
                           const Oracle::Filter& admits = {}) {
    for (const Watched& watched : watchedBy(profile)) {
      std::string path = watched.path;
      if (path.back() == '/')
        path.pop_back();
      expectFigures(*watched.results, Oracle(path, 1, scanStart, admits), path);
    }
  }

  TempDir area;
  const std::string root = area.file("mnt/x");
};

TEST_F(DirectoriesFlow, specificationsAreBoundWhereTheyLieAndMeasuredWhereTheyMatch) {
  const HostileTree tree(root);
  const std::string odd = "/names/dir.with.dots";
  // In the order of `ids`; those named "unbound" lie in no filesystem of the job.
  const struct {
    int id;
    std::string spec;
    bool bound;
    Paths measured;  // below the root
    int computer = 0;
  } rows[] = {
      {1, root + "/links", true, {"/links"}},
      {2, withBackslashes(root + odd, "\\"), true, {odd}},
      {3, withBackslashes(root, "\\\\") + "\\sizes/", true, {"/sizes"}},
      {4, root + "/*/a", true, {"/links/a"}},
      {5, root + "/%/[bc]", true, {"/links/b"}},
      {6, root + "/links/%/", true, {"/links", "/links/a", "/links/b"}},
      {7, root + "/links/a/", true, {"/links/a"}},
      {8, root + "/links//a", true, {"/links/a"}},
      {9, root + "/", true, {"/"}},
      {10, root, false, {}},
      {11, area.file("mnt"), false, {}},
      {12, root + "y/links", false, {}},
      {13, area.file("mnt/unmounted/dir"), false, {}},
      {14, upperCase(root) + "/links", true, {}},
      {15, root + "/special/fifo", true, {}},
      {16, root + "/gone", true, {}},
      {17, "links", false, {}},
      {18, root + "/sizes", true, {"/sizes"}, 5},  // this computer
      {19, root + "/sizes", false, {}, 6},
      {20, root + "/sizes", true, {"/sizes"}, -6},
  };
  writeFile(agent() + "/config/computerid.dat",
            "[Header]\n[ComputerID]\ncomputerID\n[/Header]\n[ComputerID]\n5\n[/ComputerID]\n");
  // However many "/" end the mount point, directories are bound and measured.
  Definition definition;
  definition.filesystem(1, root + "//").profile(50, "1", FIGURES).profile(51, "0", FIGURES);
  Ids bound;
  std::map<std::string, std::set<std::string>> specsByPath;
  for (const auto& row : rows) {
    definition.directory(row.id, row.spec, row.computer);
    if (row.bound)
      bound.insert(bound.begin(), std::to_string(row.id));
    for (const std::string& path : row.measured)
      specsByPath[root + path].insert(std::to_string(row.id));
  }
  const ResultTree file = runFor(definition);
  EXPECT_EQ(idsOf(file, "MonDirSpec", "mdsID"), bound);
  EXPECT_EQ(file.root().one("Filesystem").row().at("fsMountPoint"), root + "/");
  EXPECT_NE(log().find("STA0027I These profiles are applied to monitored directories: \n"),
            std::string::npos);
  EXPECT_NE(log().find("51.profile51\n"), std::string::npos);

  const ResultNode& profile = directoriesOf(file, "51");
  std::map<std::string, std::set<std::string>> found;
  for (const Watched& watched : watchedBy(profile)) {
    EXPECT_TRUE(found.emplace(watched.path, watched.specs).second) << watched.path << " twice";
    EXPECT_TRUE(watched.specs.contains(watched.results->row().at("rfDirOrFS"))) << watched.path;
  }
  EXPECT_EQ(found, specsByPath);
  const std::int64_t scanStart =
      std::stoll(file.root().one("Filesystem").row().at("fsScanTime")) / 1000;
  expectOracle(profile, scanStart);
  // The filesystem's own figures are not touched by them.
  expectFigures(directoriesOf(file, "50").one("ResultsByFS"), Oracle(root, 1, scanStart), root);
}

TEST_F(DirectoriesFlow, everyDirectoryProfileMeasuresUnderItsOwnClause) {
  const HostileTree tree(root);
  const ResultTree file = runFor(Definition()
                                     .filesystem(1, root)
                                     .directory(7, root + "/links")
                                     .directory(8, root + "/links/a")
                                     .profile(1, "0", figuresOf("type=l"))
                                     .profile(2, "3", figuresOf("size>=3000"))
                                     .profile(3, "0", figuresOf("size>=nothing"))
                                     .profile(4, "0", figuresOf("type=s"))
                                     .profile(5, "1", FIGURES),
                                 4);
  // The filesystem's profiles, then those of its directories, each in the definition's order.
  EXPECT_EQ(idsOf(file, "CuStatDef", "sdID"), (Ids{"2", "5", "1", "2", "4"}));
  EXPECT_NE(log().find("STA0029E The where clause of profile 3.profile3"), std::string::npos);
  EXPECT_EQ(log().find("\n3.profile3"), std::string::npos) << log();
  const std::int64_t now = std::stoll(file.root().one("Filesystem").row().at("fsScanTime")) / 1000;
  const struct {
    const char* sdID;
    const char* clauseShown;
    Oracle::Filter admits;
  } rows[] = {
      {"1", "type=l", [](const OracleEntry& e) { return e.type == 2; }},
      {"2", "", [](const OracleEntry& e) { return e.size >= 3000; }},
      {"4", "type=s", [](const OracleEntry& e) { return e.type == 5; }},
  };
  for (const auto& row : rows) {
    const ResultNode& profile = directoriesOf(file, row.sdID);
    EXPECT_EQ(profile.row().at("sdWhereClause"), row.clauseShown);
    EXPECT_EQ(pathsOf(profile), (Paths{root + "/links", root + "/links/a"})) << row.sdID;
    expectOracle(profile, now, row.admits);
  }
  const ResultNode& ofFilesystem = *file.root().all("CuStatDef").front();
  expectFigures(ofFilesystem.one("ResultsByFS", "Filesystem"), Oracle(root, 1, now, rows[1].admits),
                "type 3 on its filesystem");
}

TEST_F(DirectoriesFlow, resultsTellTheDirectoryBeforeItsFigures) {
  writeFile(root + "/d/e/file", "1234567");
  const ResultTree file = runFor(Definition()
                                     .filesystem(3, root)
                                     .directory(21, root + "/d")
                                     .directory(22, root + "/d/e")
                                     .directory(25, root + "/?")
                                     .directory(20, root + "/d")
                                     .directory(23, root + "/[d]")
                                     .profile(9, "3", SUMMARY));
  const ResultNode& profile = directoriesOf(file, "9");
  const auto entries = profile.all("ResultsByFS");
  ASSERT_EQ(entries.size(), 2U);
  // The one left last stands first.
  const ResultNode& entry = *entries.front();
  EXPECT_EQ(entry.row(), (Row{{"rfResults", "9"}, {"rfDirOrFS", "23"}}));
  ASSERT_EQ(entry.children.size(), 2U);
  EXPECT_EQ(entry.children[0].name, "SMonDir");
  EXPECT_EQ(entry.children[1].name, "CuStatResults");
  struct stat st {};
  ASSERT_EQ(::stat((root + "/d").c_str(), &st), 0);
  const Row& directory = entry.children[0].row();
  const Row expected = {{"smFilesystemID", "3"},
                        {"smDirSpecs", "23,20,25,21"},  // bound last, named first
                        {"smScanTime", file.root().one("Filesystem").row().at("fsScanTime")},
                        {"smFilesystem", "3"},
                        {"faType", "3"},
                        {"faName", root + "/d"},
                        {"faInodeNumber", std::to_string(st.st_ino)},
                        {"faLength", std::to_string(st.st_size)},
                        {"faModified", std::to_string(st.st_mtim.tv_sec) + "000"}};
  for (const auto& [name, value] : expected)
    EXPECT_EQ(directory.at(name), value) << name;
}

TEST_F(DirectoriesFlow, everyFilesystemTellsItsOwnDirectories) {
  const std::string second = area.file("second");
  writeFile(root + "/d/1", "1");
  writeFile(second + "/d/1", "1");
  writeFile(second + "/d/2", "2");
  mountEntry(second);
  const ResultTree file = runFor(Definition()
                                     .filesystem(2, second)
                                     .filesystem(1, root)
                                     .filesystem(3, area.file("gone"))
                                     .directory(11, root + "/d")
                                     .directory(12, second + "/*")
                                     .directory(13, area.file("gone/d"))
                                     .directory(14, second + "/[a")
                                     .profile(7, "0", SUMMARY)
                                     .profile(8, "1", SUMMARY),
                                 4);
  Ids order;
  for (const ResultNode& child : file.root().children)
    order.push_back(child.name + " " +
                    child.row().at(child.name == "Filesystem"   ? "fsID"
                                   : child.name == "MonDirSpec" ? "mdsID"
                                                                : "sdID"));
  EXPECT_EQ(order, (Ids{"Filesystem 2", "MonDirSpec 12", "CuStatDef 8", "CuStatDef 7",  //
                        "Filesystem 1", "MonDirSpec 11", "CuStatDef 8", "CuStatDef 7"}));
  const auto profiles = file.root().all("CuStatDef");
  EXPECT_EQ(pathsOf(*profiles[1]), Paths{second + "/d"});
  EXPECT_EQ(pathsOf(*profiles[3]), Paths{root + "/d"});
  // A pattern that is not valid is reported once.
  const auto at = log().find("STA0030E The monitored directory " + second + "/[a");
  EXPECT_NE(at, std::string::npos) << log();
  EXPECT_EQ(log().find("STA0030E", at + 1), std::string::npos) << log();
}

TEST_F(DirectoriesFlow, aDirectoryTooDeepToEnterIsMeasuredByItsOwnRecord) {
  std::string deep = root;
  for (int level = 1; level <= 201; ++level)
    deep += "/d";
  std::filesystem::create_directories(deep);
  const std::string notEntered = deep.substr(0, deep.size() - 2);
  const ResultTree file = runFor(Definition()
                                     .filesystem(1, root)
                                     .directory(1, notEntered)
                                     .directory(2, notEntered.substr(0, notEntered.size() - 2))
                                     .profile(1, "3", SUMMARY));
  EXPECT_NE(log().find("STA0001E"), std::string::npos);
  const auto watched = watchedBy(directoriesOf(file, "1"));
  ASSERT_EQ(watched.size(), 2U);
  const char* directories[] = {"2", "1"};  // the outer one stands first
  for (std::size_t i = 0; i < watched.size(); ++i) {
    EXPECT_EQ(watched[i].results->one("SMonDir").row().at("smFilesystemID"), "1");
    EXPECT_EQ(
        watched[i].results->one("CuStatResults").one("SSummary").row().at("sumDirectoryCount"),
        directories[i]);
  }
}

TEST_F(DirectoriesFlow, aDirectoryThatCannotBeOpenedIsMeasuredByItsOwnRecord) {
  writeFile(root + "/closed/hidden", "x");
  writeFile(root + "/open/seen", "x");
  std::filesystem::permissions(root + "/closed", std::filesystem::perms::none);
  define(Definition()
             .filesystem(1, root)
             .directory(1, root + "/closed")
             .directory(2, root + "/open")
             .profile(1, "3", SUMMARY));
  // Root may open anything unless it gives up the right to.
  std::vector<std::string> arguments = command();
  if (::geteuid() == 0)
    arguments.insert(arguments.begin(),
                     {"/usr/bin/setpriv", "--bounding-set=-dac_override,-dac_read_search"});
  const int code = Process(arguments, env, agent() + "/stdout").wait();
  std::filesystem::permissions(root + "/closed", std::filesystem::perms::owner_all);
  ASSERT_EQ(code, 0) << readFile(agent() + "/stdout");
  EXPECT_NE(log().find("STA0121E"), std::string::npos) << log();
  const ResultTree file = result();
  const auto found = watchedBy(directoriesOf(file, "1"));
  ASSERT_EQ(found.size(), 2U);
  for (const Watched& watched : found) {
    const Row& summary = watched.results->one("CuStatResults").one("SSummary").row();
    EXPECT_EQ(summary.at("sumDirectoryCount"), "1") << watched.path;
    EXPECT_EQ(summary.at("sumFileCount"), watched.path.ends_with("open") ? "1" : "0");
  }
}

}  // namespace
}  // namespace orv::test
