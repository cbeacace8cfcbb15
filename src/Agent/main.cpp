// The stand-in for the agent's program on a machine without an agent: keeps the notifications of
// ended jobs in log/notify.log of the agent directory that holds this program.
//
//   Agent -notify scan [option value]...

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Common/CmdArgs.h"
#include "Common/LogManager.h"
#include "runtime/ut/Text.h"

namespace {

constexpr int NOT_UNDERSTOOD = 2;
constexpr int NOT_WRITTEN = 1;

// An argument as one word of the line: with blanks, quotes or nothing in it, it stands in double
// quotes, and quotes and backslashes in it follow a backslash.
std::string lineWord(std::string_view argument) {
  if (!argument.empty() && argument.find_first_of(" \"\\") == std::string_view::npos)
    return orv::withoutControlCharacters(argument);
  std::string word = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '\\')
      word += '\\';
    word += c;
  }
  return orv::withoutControlCharacters(word + "\"");
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  if (arguments.size() < 2 || !orv::equalIgnoringCase(arguments[0], "-notify") ||
      arguments[1] != "scan") {
    std::fputs("Agent: understands only: Agent -notify scan [option value]...\n", stderr);
    return NOT_UNDERSTOOD;
  }
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::string location = orv::installLocationOfProgram(program.string());
  if (location.empty()) {
    std::fprintf(stderr, "Agent: find the agent directory: %s stands in no directory named bin\n",
                 program.c_str());
    return NOT_WRITTEN;
  }
  std::string line;
  for (const std::string_view argument : arguments)
    line += (line.empty() ? "" : " ") + lineWord(argument);
  const std::string path = location + "/log/notify.log";
  orv::LogManager log(path);
  if (log.LogActivityLog(line) == 0)
    return 0;
  std::fprintf(stderr, "Agent: write %s: %s\n", path.c_str(),
               orv::errnoText(log.systemError()).c_str());
  return NOT_WRITTEN;
}
