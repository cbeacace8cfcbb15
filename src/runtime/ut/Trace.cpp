#include "runtime/ut/Trace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <mutex>
#include <vector>

#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::trace {
namespace {

struct Level {
  const char* name;
  std::uint8_t classes;
};

// clang-format off
constexpr Level LEVELS[] = {
    {"MIN", TR_ERROR},
    {"MID", TR_ERROR | TR_MAX | TR_GENERAL},
    {"MAX", TR_ERROR | TR_MAX | TR_GENERAL | TR_ENTER | TR_EXIT},
};
// clang-format on

struct State {
  std::mutex mutex;
  UniqueFd fd;
  off_t limit = 0;
  off_t size = 0;
  bool withPid = false;
};

// One for the process, made when it is first needed.
State& state() {
  static State instance;
  return instance;
}

struct ClassName {
  std::uint8_t cls;
  const char* name;
};

constexpr ClassName CLASS_NAMES[] = {{TR_ERROR, "ERROR"},
                                     {TR_MAX, "MAX"},
                                     {TR_GENERAL, "GENERAL"},
                                     {TR_ENTER, "ENTER"},
                                     {TR_EXIT, "EXIT"}};

const char* className(std::uint8_t cls) noexcept {
  for (const ClassName& row : CLASS_NAMES)
    if (row.cls == cls)
      return row.name;
  return "-";
}

// Keeps the newer half of the file, from the first whole line on.
void dropOlderHalf(State& s) {
  // Half at a time, or a full trace would be rewritten with every line.
  const off_t keep = s.limit / 2;
  std::vector<char> tail(static_cast<std::size_t>(keep));
  const ssize_t got = ::pread(s.fd.get(), tail.data(), tail.size(), s.size - keep);
  std::string_view text(tail.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
  // The half begins in the middle of a line, which nobody could read.
  const auto firstBreak = text.find('\n');
  text.remove_prefix(firstBreak == std::string_view::npos ? text.size() : firstBreak + 1);
  // The file is open for appending: what is written next stands at its new beginning.
  if (::ftruncate(s.fd.get(), 0) != 0)
    return;
  s.size = writeFully(s.fd.get(), text) ? static_cast<off_t>(text.size()) : 0;
}

void append(State& s, std::string_view line) {
  // With less than half of it used, it is the line that is too long: there is nothing to drop.
  if (s.size + static_cast<off_t>(line.size()) > s.limit && s.size > s.limit / 2)
    dropOlderHalf(s);
  if (writeFully(s.fd.get(), line))
    s.size += static_cast<off_t>(line.size());
}

}  // namespace

std::uint8_t classesOfLevel(const std::string& level) noexcept {
  for (const Level& row : LEVELS)
    if (level == row.name)
      return row.classes;
  return 0;
}

bool open(const std::string& file, const std::string& level, int limitKb, bool withPid) {
  State& s = state();
  const std::lock_guard guard(s.mutex);
  UniqueFd fd = openForAppending(file);
  struct stat st {};
  if (!fd || ::fstat(fd.get(), &st) != 0)
    return false;
  s.fd = std::move(fd);
  // Jobs of one name append to one trace.
  s.size = st.st_size;
  s.limit = static_cast<off_t>(limitKb) * 1024;
  s.withPid = withPid;
  // Last: other threads may write as soon as they see it.
  enabledClasses.store(classesOfLevel(level), std::memory_order_relaxed);
  return true;
}

void close() noexcept {
  // First, so that no thread begins a line that the closed file would not take.
  enabledClasses.store(0, std::memory_order_relaxed);
  State& s = state();
  const std::lock_guard guard(s.mutex);
  s.fd.reset();
}

void write(std::uint8_t cls, const char* file, int line, const char* format, ...) noexcept {
  // Between a failed call and the look at its error there may be a trace.
  const int savedErrno = errno;
  try {
    va_list args;
    va_start(args, format);
    std::string text = formatText(format, args);
    va_end(args);
    // Many texts end in one; a call makes one line, whatever its text.
    while (!text.empty() && text.back() == '\n')
      text.pop_back();

    State& s = state();
    const std::lock_guard guard(s.mutex);
    if (s.fd) {
      std::string out = timeText();
      // Several processes may write into one trace: their lines are told apart.
      if (s.withPid)
        out += " " + std::to_string(::getpid());
      out += " ";
      out += className(cls);
      out += " " + std::string(file) + ":" + std::to_string(line) + " ";
      out += withoutControlCharacters(text);
      out += '\n';
      append(s, out);
    }
  } catch (const std::exception&) {
    // A trace line that cannot be built is dropped: tracing never disturbs the job.
  }
  errno = savedErrno;
}

}  // namespace orv::trace
