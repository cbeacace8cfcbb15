// Times commands in turn, several rounds in one run, and prints median ratios and peak memory.
//
//   measure [--rounds N] [--base NAME]... [--before CMD] [--json FILE] [--cpu]
//           [--group NAME ENTRIES] NAME=CMD ... [--group NAME ENTRIES NAME=CMD ...]
//
// Every command runs through /bin/sh with its output dropped; --before runs before each of them and
// is not timed. A group holds the commands that walk one tree of so many entries; each of them is
// compared with the group's commands that --base names, and its cost per entry with that of the
// first base in the first group. Commands that end with a nonzero code are reported and make the
// result useless: the program then ends with 1. With --cpu it is the processor time that is
// compared, which a busy machine disturbs less than elapsed time.

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
  std::vector<double> seconds;  // per round
  long peakKb = 0;
};

struct Group {
  std::string name;
  double entries = 0;  // 0 when nobody said
  std::vector<Command> commands;

  [[nodiscard]] const Command* find(std::string_view wanted) const {
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const Command& c) { return c.name == wanted; });
    return found == commands.end() ? nullptr : &*found;
  }
};

struct Options {
  int rounds = 5;
  std::vector<std::string> bases;
  std::string before;
  std::string json;
  bool cpu = false;
  std::vector<Group> groups;
};

void dropOutput() {
  const int null = ::open("/dev/null", O_WRONLY);
  ::dup2(null, STDOUT_FILENO);
  ::dup2(null, STDERR_FILENO);
}

double secondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Runs one command, with what it used of processor and memory. False when it failed.
bool run(const std::string& text, rusage& usage) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    dropOutput();
    ::execl("/bin/sh", "sh", "-c", text.c_str(), nullptr);
    ::_exit(127);
  }
  int status = 0;
  return pid > 0 && ::wait4(pid, &status, 0, &usage) == pid && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

bool measureOnce(const Options& options, Command& command) {
  rusage usage{};
  if (!options.before.empty() && !run(options.before, usage)) {
    fmt::print(stderr, "measure: --before failed: {}\n", options.before);
    return false;
  }
  const auto start = std::chrono::steady_clock::now();
  const bool done = run(command.text, usage);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  if (!done) {
    fmt::print(stderr, "measure: {} failed: {}\n", command.name, command.text);
    return false;
  }
  command.seconds.push_back(options.cpu ? secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime)
                                        : elapsed.count());
  command.peakKb = std::max(command.peakKb, usage.ru_maxrss);
  return true;
}

// After another tree's turn the first command finds the processor's caches cold: with warm caches
// and several groups it runs once more, untimed, before its group.
bool warmUp(const Options& options, const Group& group) {
  rusage usage{};
  return options.groups.size() == 1 || !options.before.empty() || group.commands.empty() ||
         run(group.commands.front().text, usage);
}

bool measureAll(Options& options) {
  for (int round = 0; round < options.rounds; ++round)
    for (Group& group : options.groups) {
      if (!warmUp(options, group))
        return false;
      for (Command& command : group.commands)
        if (!measureOnce(options, command))
          return false;
    }
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

// Cost per entry in units of the first base's in the first group; 0 where entries are not known.
double costPerEntry(const Options& options, const Group& group, const Command& command) {
  const Group& first = options.groups.front();
  const Command* base = first.find(options.bases.front());
  if (base == nullptr || group.entries <= 0 || first.entries <= 0)
    return 0;
  return ratioTo(*base, command) * first.entries / group.entries;
}

nlohmann::json rowOf(const Options& options, const Group& group, const Command& command) {
  nlohmann::json ratios = nlohmann::json::object();
  for (const std::string& base : options.bases)
    if (const Command* of = group.find(base))
      ratios[base] = ratioTo(*of, command);
  return {{"tree", group.name},
          {"entries", group.entries},
          {"name", command.name},
          {"ratios", ratios},
          {"costPerEntry", costPerEntry(options, group, command)},
          {"peakKiB", command.peakKb},
          {"entriesPerSecond", group.entries / median(command.seconds)},
          {"rounds", options.rounds}};
}

void printHeading(const Options& options, const Group& group) {
  if (!group.name.empty())
    fmt::print("\n{} ({:.0f} entries)\n", group.name, group.entries);
  fmt::print("{:<20}", "command");
  for (const std::string& base : options.bases)
    fmt::print(" {:>10}", "/ " + base);
  fmt::print(" {:>10} {:>10} {:>12}\n", "cost/entry", "peak KiB", "entries/s");
}

void printRow(const Options& options, const nlohmann::json& row) {
  fmt::print("{:<20}", row["name"].get<std::string>());
  for (const std::string& base : options.bases)
    fmt::print(" {:>10}", row["ratios"].contains(base)
                              ? fmt::format("{:.3f}", row["ratios"][base].get<double>())
                              : "");
  fmt::print(" {:>10.3f} {:>10} {:>12.0f}\n", row["costPerEntry"].get<double>(),
             row["peakKiB"].get<long>(), row["entriesPerSecond"].get<double>());
}

bool report(const Options& options) {
  nlohmann::json rows = nlohmann::json::array();
  for (const Group& group : options.groups) {
    printHeading(options, group);
    for (const Command& command : group.commands) {
      rows.push_back(rowOf(options, group, command));
      printRow(options, rows.back());
    }
  }
  if (options.json.empty())
    return true;
  std::FILE* file = std::fopen(options.json.c_str(), "we");
  if (file == nullptr) {
    std::perror(options.json.c_str());
    return false;
  }
  fmt::print(file, "{}\n", rows.dump(2));
  return std::fclose(file) == 0;
}

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const bool hasValue = i + 1 < argc;
    if (argument == "--rounds" && hasValue) {
      options.rounds = std::max(1, std::atoi(argv[++i]));
    } else if (argument == "--base" && hasValue) {
      options.bases.emplace_back(argv[++i]);
    } else if (argument == "--before" && hasValue) {
      options.before = argv[++i];
    } else if (argument == "--json" && hasValue) {
      options.json = argv[++i];
    } else if (argument == "--cpu") {
      options.cpu = true;
    } else if (argument == "--group" && i + 2 < argc) {
      options.groups.push_back({argv[i + 1], std::atof(argv[i + 2]), {}});
      i += 2;
    } else if (const auto equals = argument.find('='); equals != std::string_view::npos) {
      if (options.groups.empty())
        options.groups.emplace_back();
      options.groups.back().commands.push_back({std::string(argument.substr(0, equals)),
                                                std::string(argument.substr(equals + 1)),
                                                {},
                                                0});
    }
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  Options options = parse(argc, argv);
  if (options.bases.empty() || options.groups.empty() || options.groups.front().commands.empty()) {
    fmt::print(stderr,
               "usage: measure --base NAME [--rounds N] [--before CMD] [--json FILE] [--cpu] "
               "[--group NAME ENTRIES] NAME=CMD ...\n");
    return 2;
  }
  return measureAll(options) && report(options) ? 0 : 1;
}
