#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <regex>
#include <set>

#include "faults/FaultPlan.h"
#include "support/Job.h"

// Runs a whole job again and again, each time with other calls failing, and judges every run by one
// rule: the figures are whole, or a message and a code say otherwise; no crash, no hang, no half
// result, no lock that stays, no agent that waits for ever. Prints findings and the matrix.
//
//   fault_sweep [STRIDE [RUNS]]   every STRIDEth (1) of the runs whose name begins with RUNS (all);
//                                 a run's name is "CONFIG CALL ERROR NTH once|on"
namespace orv::faults {
namespace {

using test::readFile;

constexpr int TIME_LIMIT = 100;  // seconds, for a job that takes hundredths of one
constexpr int HUNG = 2000;

struct Config {
  const char* name;
  const char* threads;
  std::vector<std::string> arguments;
};
const Config CONFIGS[] = {
    {"one", "1", {}}, {"two", "2", {}}, {"timed", "1", {"-nfstimeout", "10"}}};

// How runs can end, in the matrix's order.
enum Outcome { WHOLE, LEFT_OUT, NO_RESULT, FOUND, OUTCOMES };
using Matrix = std::array<std::array<long, OUTCOMES>, CALL_COUNT>;

// Files of several owners with links and an orphan, older than every scan of them. The directories
// were read today, so that no scan changes when they were.
void makeTree(const test::TempDir& dir) {
  for (const char* name : {"a/b/c/d.txt", "a/b/e.tar.gz", "f/g", "f/h.txt", "f/i/j"})
    test::writeFile(dir.file(name), std::string(std::strlen(name) * 100, 'x'));
  std::filesystem::create_hard_link(dir.file("f/g"), dir.file("a/second"));
  std::filesystem::create_symlink("/nowhere", dir.file("f/link"));
  (void)!::lchown(dir.file("f/h.txt").c_str(), 54321, 54322);
  const timespec times[] = {{std::time(nullptr), 0}, {std::time(nullptr) - 100 * 86400, 0}};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.path()))
    ::utimensat(AT_FDCWD, entry.path().c_str(), times, AT_SYMLINK_NOFOLLOW);
  ::utimensat(AT_FDCWD, dir.path().c_str(), times, 0);
}

// What a result says, without what differs from run to run.
std::string figuresOf(const test::ResultNode& node) {
  static const std::regex passing(
      "(fs|sm|sum|td)ScanTime|(fs|sum)(Free|Used)Space|sugTimestamp|tdAverageAge|fs\\w*Inodes");
  std::string text = "[" + node.name + "," + node.qualifier + "]";
  for (const test::Row& row : node.rows)
    for (const auto& [name, value] : row)
      text += std::regex_match(name, passing) ? "" : name + "=" + value + "\n";
  for (const test::ResultNode& child : node.children)
    text += figuresOf(child);
  return text;
}

// A job on a tree, in an agent directory of its own.
class FaultJob final : public test::Job {
 public:
  FaultJob(const test::TempDir& tree, const Config& config) : m_tree(tree), m_config(config) {
    mountEntry(tree.path());
    env["ORV_WALK_THREADS"] = config.threads;
  }
  void TestBody() override {}

  // With the faults of that plan; none without one.
  void runWith(const std::string& plan) {
    test::Fields fields;
    for (const char* name : {"Summary", "SizeDistribution", "GroupByOwner", "GroupByGroup",
                             "GroupByAccess", "GroupByMod"})
      fields.emplace_back(std::string("sd") + name, "Y");
    for (const char* name : {"LargestDirectories", "LargestFiles", "LargestOrphans",
                             "LeastAccessed", "LargestFileTypes"})
      fields.emplace_back(std::string("sd") + name, "9");
    test::Fields chosen = fields;
    chosen.emplace_back("sdWhereClause", "n a m e ~ ' * [ . ] t x t '");
    define(test::Definition()
               .filesystem(1, m_tree.path())
               .directory(7, m_tree.file("a"))
               .profile(1, "3", fields)
               .profile(2, "1", chosen));
    env[PLAN_VARIABLE] = plan;
    env["LD_PRELOAD"] = plan.empty() ? "" : ORV_FAULT_LIBRARY;
    code = waitFor(start(m_config.arguments));
    figures = exists(outputFile()) ? figuresOf(result().root()) : "";
  }

  [[nodiscard]] bool saysSomething() const {
    static const std::regex message(" [A-Z]{3}[0-9]{4}[WET] ");
    return std::regex_search(log(), message) || !output().empty();
  }
  [[nodiscard]] std::string output() const { return readFile(agent() + "/stdout"); }
  [[nodiscard]] bool isPartLeft() const { return exists(outputFile() + ".part"); }
  [[nodiscard]] bool isLockLeft() const {
    return readFile(agent() + "/log/orv_scan_res").find("PID=") != std::string::npos;
  }
  // Codes of a job that ends before it begins: nobody is notified, and some cannot say why.
  [[nodiscard]] bool isBegun() const {
    static const std::set<int> before = {2, 3, 6, 30, 72, 102};
    static const std::regex unable("failed to start");
    return !before.contains(code) && !std::regex_search(log() + output(), unable);
  }
  // Whether a message says that the job ends without a result.
  [[nodiscard]] bool isGivenUp() const {
    return log().find("and without a result") != std::string::npos;
  }
  // Whether the agent was told the code, or finds it in the job information file.
  [[nodiscard]] bool isTold() const {
    const std::string text = std::to_string(code);
    return notifications().find("-exitCode " + text + " ") != std::string::npos ||
           readFile(jobInfoFile()).find(" rc=" + text) != std::string::npos;
  }

  int code = 0;         // the job's return code, 1000 and more for a signal, or HUNG
  std::string figures;  // of the result; empty without one

 private:
  static int waitFor(test::Process process) {
    const pid_t pid = process.pid();
    siginfo_t ended{};
    for (int i = 0; ended.si_pid == 0 && i < TIME_LIMIT * 1000; ++i) {
      ::waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT | WNOHANG);
      ::usleep(1000);
    }
    process.signal(SIGKILL);
    const int ending = process.wait();
    ::kill(-pid, SIGKILL);  // the job leads a process group
    return ended.si_pid == 0 ? HUNG : ending;
  }

  const test::TempDir& m_tree;
  const Config& m_config;
};

class Sweep final {
 public:
  Sweep() {
    makeTree(m_tree);
    const int fd = ::memfd_create("plan", MFD_CLOEXEC);
    (void)!::ftruncate(fd, sizeof(FaultPlan));
    void* mapped = ::mmap(nullptr, sizeof(FaultPlan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped == MAP_FAILED)
      throw std::runtime_error("map the plan");
    m_plan = static_cast<FaultPlan*>(mapped);
    m_planFile = "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(fd);
  }

  Matrix run(long stride, const std::string& runs) {
    Matrix matrix{};
    long number = 0;
    for (const Config& config : CONFIGS) {
      const auto counts = count(config);
      for (int call = 0; call < CALL_COUNT; ++call)
        for (const int error : CALLS[call].errors)
          for (long nth = 1; error != 0 && nth <= counts[call]; ++nth)
            for (const bool on : {false, true}) {
              const std::string name = std::string(config.name) + " " + CALLS[call].name + " " +
                                       errorName(error) + " " + std::to_string(nth) +
                                       (on ? " on" : " once");
              // What is interrupted for ever may try for ever.
              if (!(on && error == EINTR) && name.starts_with(runs) && ++number % stride == 0)
                ++matrix[call][runOne(config, name, call, error, nth, on)];
            }
    }
    return matrix;
  }

  static const char* errorName(int error) {
    return error == SHORT_COUNT ? "SHORT" : ::strerrorname_np(error);
  }

 private:
  // How often a job without faults makes each call; its figures are the whole ones.
  std::array<long, CALL_COUNT> count(const Config& config) {
    FaultJob job(m_tree, config);
    prepare(-1, 0, 0, false);
    job.runWith(m_planFile);
    m_whole = job.figures;
    if (job.code != 0 || m_whole.empty() || job.saysSomething() || !job.isTold())
      throw std::runtime_error("the job fails without faults: " + std::to_string(job.code));
    std::array<long, CALL_COUNT> counts{};
    std::copy(m_plan->counts.begin(), m_plan->counts.end(), counts.begin());
    return counts;
  }

  // One run, and behind it one without faults in the same agent directory.
  Outcome runOne(const Config& config, const std::string& name, int call, int error, long nth,
                 bool on) {
    FaultJob job(m_tree, config);
    prepare(call, error, nth, on);
    job.runWith(m_planFile);
    const int code = job.code;
    const bool isWhole = job.figures == m_whole;
    std::string finding = m_plan->hits == 0 && code < HUNG ? "" : judge(job, error);
    job.runWith("");
    if (finding.empty() && (job.code != 0 || job.figures != m_whole))
      finding = "the next run ended with " + std::to_string(job.code);
    if (finding.empty() && (job.isPartLeft() || job.isLockLeft()))
      finding = "something stays behind";
    if (!finding.empty())
      std::printf("%s: code %d, %s\n", name.c_str(), code, finding.c_str());
    return !finding.empty() ? FOUND : isWhole ? WHOLE : code < 8 ? LEFT_OUT : NO_RESULT;
  }

  void prepare(int call, int error, long first, bool on) {
    m_plan->call = call;
    m_plan->error = error;
    m_plan->first = first;
    m_plan->on = on;
    m_plan->hits = 0;
    for (auto& count : m_plan->counts)
      count = 0;
  }

  // What is wrong with the run; empty when it keeps the rule.
  [[nodiscard]] std::string judge(const FaultJob& job, int error) const {
    const bool isShortage = error == EMFILE || error == ENFILE || error == ENOMEM;
    const bool isWhole = job.figures == m_whole;
    const bool failed = job.code >= 8;
    struct Rule {
      bool isBroken;
      const char* finding;
    };
    for (const Rule& rule : std::initializer_list<Rule>{
             {job.code == HUNG, "hung"},
             {job.code >= 1000, "ended by a signal"},
             {job.isPartLeft(), "half a result is left"},
             {failed == !job.figures.empty(), failed ? "a result in spite of it" : "no result"},
             {!failed && job.isGivenUp(), "said to have no result"},
             {!failed && !isWhole && !job.saysSomething(), "figures are missing silently"},
             {job.code == 0 && !isWhole && isShortage, "figures are missing under code 0"},
             {job.code != 0 && job.isBegun() && !job.saysSomething(), "no message"},
             {job.isBegun() && !job.isTold(), "nobody was told"}})
      if (rule.isBroken)
        return rule.finding;
    return "";
  }

  const test::TempDir m_tree;
  std::string m_planFile;
  FaultPlan* m_plan = nullptr;
  std::string m_whole;
};

// The matrix as a table; how many findings there were.
long print(const Matrix& matrix) {
  std::puts("| call | errors | runs | whole | left out, said so | no result, said so | findings |");
  std::puts("| --- | --- | ---: | ---: | ---: | ---: | ---: |");
  long findings = 0;
  for (int call = 0; call < CALL_COUNT; ++call) {
    const auto& [whole, leftOut, noResult, found] = matrix[call];
    const long runs = whole + leftOut + noResult + found;
    std::string errors;
    for (const int error : CALLS[call].errors)
      errors += error == 0 ? "" : std::string(" ") + Sweep::errorName(error);
    if (runs > 0)
      std::printf("| `%s` |%s | %ld | %ld | %ld | %ld | %ld |\n", CALLS[call].name, errors.c_str(),
                  runs, whole, leftOut, noResult, found);
    findings += found;
  }
  return findings;
}

}  // namespace
}  // namespace orv::faults

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (::access("/dev/shm", W_OK) == 0)
    ::setenv("TMPDIR", "/dev/shm", 0);  // a disk would be flushed to a hundred thousand times
  const long stride = argc > 1 ? std::stol(argv[1]) : 1;
  return orv::faults::print(orv::faults::Sweep().run(stride, argc > 2 ? argv[2] : "")) > 0 ? 1 : 0;
}
