#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// The trace: what the job tells a developer. Process-wide, off until the driver opens it, written
// to by any thread. Every line carries local time, process id, class, source location and text.
//
// A trace point whose class is off costs one load and one predictable branch: its arguments are not
// evaluated. Texts are printf formats that the compiler checks; line breaks at their end are
// dropped and control characters in them are shown as \xNN, so one call always makes one line.
//
//   TRACE_METHOD("scan()");                          Enter now, Exit when the scope ends
//   TRACE(TR_GENERAL, "found entity: %s", name);     one line
//
// Which functions trace their entry: those that a reader of a trace follows a job by, which are the
// operations of a class's public interface that do work (not accessors, not what a header defines
// inline, not the helpers of an unnamed namespace), whatever their length. What is called once per
// entry traces it, too: the most detailed level is for finding the one entry that went wrong.
namespace orv {

// Trace classes, one bit each. A level switches a set of them on: MIN errors only; MID also TR_MAX
// and TR_GENERAL; MAX also the entry and exit of every method.
inline constexpr std::uint8_t TR_ERROR = 0x01;
inline constexpr std::uint8_t TR_MAX = 0x02;
inline constexpr std::uint8_t TR_GENERAL = 0x04;
inline constexpr std::uint8_t TR_ENTER = 0x08;
inline constexpr std::uint8_t TR_EXIT = 0x10;

namespace trace {

inline std::atomic<std::uint8_t> enabledClasses{0};

[[nodiscard]] inline bool isOn(std::uint8_t classes) noexcept {
  return (enabledClasses.load(std::memory_order_relaxed) & classes) != 0;
}

// The classes of a level text ("MIN", "MID", "MAX"); any other text gives none.
[[nodiscard]] std::uint8_t classesOfLevel(const std::string& level) noexcept;

// Opens `file` for appending and switches the level's classes on. `limitKb` bounds the file in
// kilobytes: when a line would pass the limit the older half is dropped. `withPid` is the option
// "PID": the process id on each line. False when the file cannot be opened (errno says why).
[[nodiscard]] bool open(const std::string& file, const std::string& level, int limitKb,
                        bool withPid);

// Switches every class off and closes the file.
void close() noexcept;

[[gnu::cold, gnu::noinline, gnu::format(printf, 4, 5)]] void write(std::uint8_t cls,
                                                                   const char* file, int line,
                                                                   const char* format,
                                                                   ...) noexcept;

// Traces "Enter: %s" at construction and "Exit: %s" at the end of its scope.
class Method final {
 public:
  Method(const char* name, const char* file, int line) noexcept
      : m_name(name), m_file(file), m_line(line) {
    if (isOn(TR_ENTER)) [[unlikely]]
      write(TR_ENTER, file, line, "Enter: %s", name);
  }
  ~Method() {
    if (isOn(TR_EXIT)) [[unlikely]]
      write(TR_EXIT, m_file, m_line, "Exit: %s", m_name);
  }
  Method(const Method&) = delete;
  Method& operator=(const Method&) = delete;

 private:
  const char* m_name;
  const char* m_file;
  int m_line;
};

}  // namespace trace
}  // namespace orv

#define TRACE(cls, ...)                                          \
  do {                                                           \
    if (::orv::trace::isOn(cls)) [[unlikely]]                    \
      ::orv::trace::write(cls, __FILE__, __LINE__, __VA_ARGS__); \
  } while (false)

#define TRACE_METHOD(name) const ::orv::trace::Method orvTraceMethod(name, __FILE__, __LINE__)
