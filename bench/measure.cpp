// Times commands in turn, several rounds in one run, and prints median ratios and peak memory.
//
//   measure [--rounds N] [--base NAME] [--before CMD] [--entries N] [--json FILE] NAME=CMD ...
//
// Every command runs through /bin/sh with its output dropped; --before runs before each of them and
// is not timed. Commands that end with a nonzero code are reported and make the result useless: the
// program then ends with 1.

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Command {
  std::string name;
  std::string text;
  std::vector<double> seconds;
  long peakKb = 0;
};

struct Options {
  int rounds = 5;
  std::string base = "du";
  std::string before;
  std::string json;
  double entries = 0;
  std::vector<Command> commands;
};

void dropOutput() {
  const int null = ::open("/dev/null", O_WRONLY);
  ::dup2(null, STDOUT_FILENO);
  ::dup2(null, STDERR_FILENO);
}

// Runs one command; its peak memory in KiB, or -1 when it failed.
long run(const std::string& text) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    dropOutput();
    ::execl("/bin/sh", "sh", "-c", text.c_str(), nullptr);
    ::_exit(127);
  }
  int status = 0;
  rusage usage{};
  if (pid < 0 || ::wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) ||
      WEXITSTATUS(status) != 0)
    return -1;
  return usage.ru_maxrss;
}

bool measureOnce(const Options& options, Command& command) {
  if (!options.before.empty() && run(options.before) < 0) {
    fmt::print(stderr, "measure: --before failed: {}\n", options.before);
    return false;
  }
  const auto start = std::chrono::steady_clock::now();
  const long peak = run(command.text);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  if (peak < 0) {
    fmt::print(stderr, "measure: {} failed: {}\n", command.name, command.text);
    return false;
  }
  command.seconds.push_back(elapsed.count());
  command.peakKb = std::max(command.peakKb, peak);
  return true;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// Ratios are taken within each round, so that a slow phase of the machine hits both sides.
double ratioTo(const Command& base, const Command& command) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < base.seconds.size(); ++i)
    ratios.push_back(command.seconds[i] / base.seconds[i]);
  return median(ratios);
}

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const bool hasValue = i + 1 < argc;
    if (argument == "--rounds" && hasValue)
      options.rounds = std::max(1, std::atoi(argv[++i]));
    else if (argument == "--base" && hasValue)
      options.base = argv[++i];
    else if (argument == "--before" && hasValue)
      options.before = argv[++i];
    else if (argument == "--entries" && hasValue)
      options.entries = std::atof(argv[++i]);
    else if (argument == "--json" && hasValue)
      options.json = argv[++i];
    else if (const auto equals = argument.find('='); equals != std::string_view::npos)
      options.commands.push_back({std::string(argument.substr(0, equals)),
                                  std::string(argument.substr(equals + 1)),
                                  {},
                                  0});
  }
  return options;
}

void report(const Options& options, const Command& base) {
  fmt::print("{:<16} {:>12} {:>12} {:>14}\n", "command", "ratio to " + options.base, "peak KiB",
             options.entries > 0 ? "entries/s" : "");
  nlohmann::json rows = nlohmann::json::array();
  for (const Command& command : options.commands) {
    const double ratio = ratioTo(base, command);
    const double rate = options.entries / median(command.seconds);
    fmt::print("{:<16} {:>12.3f} {:>12} {:>14}\n", command.name, ratio, command.peakKb,
               options.entries > 0 ? fmt::format("{:.0f}", rate) : "");
    rows.push_back({{"name", command.name},
                    {"ratio", ratio},
                    {"base", options.base},
                    {"peakKiB", command.peakKb},
                    {"entriesPerSecond", options.entries > 0 ? rate : 0.0},
                    {"rounds", options.rounds}});
  }
  if (options.json.empty())
    return;
  if (std::FILE* file = std::fopen(options.json.c_str(), "we")) {
    fmt::print(file, "{}\n", rows.dump(2));
    std::fclose(file);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options = parse(argc, argv);
  const auto base = std::find_if(options.commands.begin(), options.commands.end(),
                                 [&](const Command& c) { return c.name == options.base; });
  if (base == options.commands.end()) {
    fmt::print(stderr, "usage: measure [--rounds N] [--base NAME] [--before CMD] NAME=CMD ...\n");
    return 2;
  }
  for (int round = 0; round < options.rounds; ++round)
    for (Command& command : options.commands)
      if (!measureOnce(options, command))
        return 1;
  report(options, *base);
  return 0;
}
