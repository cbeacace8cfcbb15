// The pages that list options, and the example of a definition, against the programs themselves.
#include <CLI/CLI.hpp>
#include <cctype>
#include <functional>
#include <regex>
#include <set>
#include <sstream>

#include "orvctl/Orvctl.h"
#include "orvctl/command/App.h"

namespace orv::ctl::test {
namespace {

namespace fs = std::filesystem;

const std::string SOURCE = ORV_SOURCE_DIR;

// What the pattern's group finds in a text.
std::set<std::string> found(const std::string& text, const char* pattern) {
  const std::regex expression(pattern);
  std::set<std::string> result;
  for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match)
    result.insert((*match)[1]);
  return result;
}

// The first cells of the tables below a heading.
std::string firstCells(const std::string& page, const std::string& heading) {
  const std::size_t begin = page.find("\n" + heading + "\n");
  if (begin == std::string::npos)
    return {};
  const std::string section = page.substr(begin + 1, page.find("\n#", begin + 1) - begin);
  std::string cells;
  for (const std::string& cell : found(section, "\n\\| ([^|]*) \\|"))
    cells += cell + "\n";
  return cells;
}

TEST(DocsTest, everyOptionOfScanIsOnItsPageAndNoOther) {
  // The rows of the one table of options: name, column, whether it takes a value, handler.
  const auto options = found(readFile(SOURCE + "/src/Common/CmdArgs.cpp"),
                             "\\{\"([a-z]+)\", *[0-9]+, true, +[a-zA-Z]");
  std::string cells = firstCells(readFile(SOURCE + "/docs/scan.md"), "## Options");
  for (char& letter : cells)
    letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  EXPECT_EQ(found(cells, "`-([a-z]+)`"), options);
}

TEST(DocsTest, everyOptionOfOrvctlIsOnItsPageAndNoOther) {
  const std::string page = readFile(SOURCE + "/docs/orvctl.md");
  const std::function<void(const CLI::App&, const std::string&)> compare =
      [&](const CLI::App& command, const std::string& name) {
        std::set<std::string> options;
        for (const CLI::Option* option : command.get_options())
          if (!option->get_lnames().empty() && option->get_lnames().front() != "help")
            options.insert(option->get_lnames().front());
        EXPECT_EQ(found(firstCells(page, "### " + name), "`--([a-z-]+)"), options) << name;
        std::istringstream help(command.help("orvctl"));
        for (std::string line; std::getline(help, line);)
          EXPECT_LE(line.size(), 80U) << line;
        for (const CLI::App* below : command.get_subcommands({}))
          compare(*below, name == "orvctl" ? below->get_name() : name + " " + below->get_name());
      };
  int exitCode = 0;
  compare(*makeApp(exitCode), "orvctl");
}

TEST(DocsTest, everyVariableIsOnItsPage) {
  for (const auto& [folder, page] :
       {std::pair("/src", "/docs/scan.md"), {"/orvctl", "/docs/orvctl.md"}}) {
    std::set<std::string> read;
    for (const auto& entry : fs::recursive_directory_iterator(SOURCE + folder))
      if (entry.is_regular_file())
        read.merge(found(readFile(entry.path()),
                         "(?:getenv|envname|isSet|userDirectory|variable)\\(\"([A-Z_]+)\""));
    EXPECT_EQ(found(firstCells(readFile(SOURCE + page), "## Environment"), "`([A-Z_]+)`"), read);
  }
}

TEST(DocsTest, theExampleOfADefinitionRunsAsPrinted) {
  const TempDir directory;
  const std::string page = readFile(SOURCE + "/docs/definition-format.md");
  const std::size_t begin = page.find("```sh\n") + 6;
  const std::string agent = directory.file("build/release/agent");
  fs::create_directories(agent + "/nls");
  fs::create_directory_symlink(SOURCE + "/docs", directory.file("docs"));
  fs::create_symlink(ORV_BUILT_AGENT_DIR "/nls/xrmna.cat", agent + "/nls/xrmna.cat");
  fs::copy(ORV_BUILT_AGENT_DIR "/bin", agent + "/bin");
  writeFile(directory.file("run"), "set -eu; cd " + directory.path() + "\n" +
                                       page.substr(begin, page.find("```", begin) - begin));
  EXPECT_EQ(Process({"/bin/bash", directory.file("run")}, {}, directory.file("out")).wait(), 0);
  const std::string out = readFile(directory.file("out"));
  for (const char* expected : {"Scan of /etc\n", "Scan of /usr/share\n", "big files", "Result: "})
    EXPECT_TRUE(holds(out, expected)) << expected << "\nin\n" << out;
}

}  // namespace
}  // namespace orv::ctl::test
