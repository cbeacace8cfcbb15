#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/Process.h"
#include "support/ResultTree.h"
#include "support/TempDir.h"

namespace orv::test {

using Fields = std::vector<std::pair<std::string, std::string>>;  // header name and value

inline std::string definitionValue(const std::string& value) {
  if (value == "null")
    return value;
  std::string result = "\"";
  for (const char c : value)
    result += c == '"' ? std::string("\"\"") : std::string(1, c);
  return result + "\"";
}

// A definition file under construction: filesystems, monitored directories and profiles.
class Definition final {
 public:
  Definition& filesystem(int id, const std::string& mountPoint, int type = 11) {
    m_body += "[Filesystem]\n" + std::to_string(id) + "," + definitionValue(mountPoint) + "," +
              std::to_string(type) + "\n[/Filesystem]\n";
    return *this;
  }
  Definition& directory(int id, const std::string& path, int computerID = 0) {
    m_body += "[MonDirSpec]\n" + std::to_string(id) + "," + definitionValue(path) + "," +
              std::to_string(computerID) + "\n[/MonDirSpec]\n";
    return *this;
  }
  // A profile with the given switches; those it does not name are off.
  Definition& profile(int id, const std::string& type, const Fields& fields,
                      const std::vector<int>& listed = {}) {
    std::map<std::string, std::string> values(fields.begin(), fields.end());
    values["sdID"] = std::to_string(id);
    values["sdType"] = type;
    values.try_emplace("sdName", "profile" + std::to_string(id));
    m_body += "[CuStatDef]\n";
    for (std::size_t i = 0; i < columns().size(); ++i) {
      const auto found = values.find(columns()[i]);
      m_body +=
          (i == 0 ? "" : ",") + (found == values.end() ? "null" : definitionValue(found->second));
    }
    m_body += "\n";
    for (const int fsID : listed)
      m_body += "[ResultsByFS]\nnull," + std::to_string(fsID) + "\n[/ResultsByFS]\n";
    m_body += "[/CuStatDef]\n";
    return *this;
  }
  [[nodiscard]] std::string text(const std::string& jobName = "J") const {
    std::string names;
    for (const std::string& column : columns())
      names += (names.empty() ? "" : ",") + column;
    return "[Header]\n[AgentScan]\nasJobName,asScanningCompID\n[Filesystem]\n"
           "fsID,fsMountPoint,fsType\n[MonDirSpec]\nmdsID,mdsPath,mdsComputerID\n[CuStatDef]\n" +
           names + "\n[ResultsByFS]\nrfResults,rfDirOrFS\n[/Header]\n[AgentScan]\n\"" + jobName +
           "\",1\n" + m_body + "[/AgentScan]\n";
  }

 private:
  static const std::vector<std::string>& columns() {
    // clang-format off
    static const std::vector<std::string> names = {
        "sdID", "sdName", "sdType", "sdSummary", "sdWhereClause", "sdSizeDistribution",
        "sdGroupByOwner", "sdGroupByGroup", "sdGroupByAccess", "sdGroupByMod", "sdGroupByCreation",
        "sdGroupByBackup", "sdLargestDirectories", "sdLargestFiles", "sdLeastAccessed",
        "sdOldestNotBackedUp", "sdLargestOrphans", "sdOldestOrphans", "sdLargestFileTypes",
        "sdWinOnlyFileType"};
    // clang-format on
    return names;
  }
  std::string m_body;
};

inline const Fields SUMMARY = {{"sdSummary", "Y"}};

// A job of the real bin/scan in a temporary agent directory.
class Job : public ::testing::Test {
 protected:
  Job() {
    std::filesystem::create_directories(agent() + "/bin");
    std::filesystem::create_directories(agent() + "/nls");
    const std::string built = ORV_BUILT_AGENT_DIR;
    std::filesystem::copy_file(built + "/nls/xrmna.cat", agent() + "/nls/xrmna.cat");
    // A copy: the stand-in finds its agent directory by its own place.
    std::filesystem::copy_file(built + "/bin/Agent", agent() + "/bin/Agent");
  }

  [[nodiscard]] const std::string& agent() const { return m_agent.path(); }
  [[nodiscard]] std::string definitionFile() const { return jobFile("input", ".dat"); }
  [[nodiscard]] std::string outputFile() const { return jobFile("output", ".dat"); }
  [[nodiscard]] std::string jobInfoFile() const { return jobFile("output", ".jobinfo"); }
  [[nodiscard]] std::string traceFile() const { return jobFile("log", ".trace"); }
  [[nodiscard]] std::string log() const { return readFile(agent() + "/log/scan.log"); }
  [[nodiscard]] std::string notifications() const { return readFile(agent() + "/log/notify.log"); }
  [[nodiscard]] bool exists(const std::string& path) const { return std::filesystem::exists(path); }

  // Names the directory as a mounted filesystem in the job's own mount table.
  void mountEntry(const std::string& directory, const std::string& type = "testfs",
                  const std::string& source = "none") {
    m_mtab += source + " " + directory + " " + type + " rw 0 0\n";
    writeFile(agent() + "/mtab", m_mtab);
    env["ORV_MNTTAB"] = agent() + "/mtab";
  }

  void define(const Definition& definition) { writeFile(definitionFile(), definition.text()); }

  [[nodiscard]] std::vector<std::string> command(const std::vector<std::string>& more = {}) const {
    const std::string program = std::string(ORV_BUILT_AGENT_DIR) + "/bin/scan";
    std::vector<std::string> all = {program, "-scan", "-installLoc", agent()};
    for (const char* word :
         {"-serverName", "s1", "-jobName", "J", "-jobRunNumber", "12", "-sidRunNumber", "3"})
      all.emplace_back(word);
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  [[nodiscard]] Process start(const std::vector<std::string>& more = {}) const {
    return {command(more), env, agent() + "/stdout"};
  }
  // Runs the job to its end; its exit code.
  [[nodiscard]] int run(const std::vector<std::string>& more = {}) const {
    return start(more).wait();
  }
  [[nodiscard]] ResultTree result() const { return ResultTree(outputFile()); }

  std::map<std::string, std::string> env;

 private:
  [[nodiscard]] std::string jobFile(const std::string& folder, const std::string& ending) const {
    return agent() + "/" + folder + "/s1/J.00000012_scan.0003" + ending;
  }
  TempDir m_agent;
  std::string m_mtab;
};

}  // namespace orv::test
