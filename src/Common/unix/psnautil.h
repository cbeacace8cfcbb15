#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// Child processes and the few file operations around them. Used on the job's thread; the alarm
// signal belongs to WaitForExternalProgram while it waits.
//
//   const pid_t child = SpawnExternalProgram({"/opt/agent/bin/Agent", "-notify", "scan"});
//   const int code = child == PROGRAM_NOT_STARTED ? child : WaitForExternalProgram(child, 60);
namespace orv {

// Codes of the operations below. A child whose program cannot be executed exits with
// PROGRAM_NOT_STARTED as well.
inline constexpr int PROGRAM_TIMED_OUT = 68;
inline constexpr int PROGRAM_NOT_STARTED = 71;
inline constexpr int PROGRAM_WAIT_FAILED = 74;

// Where a child writes; an empty name leaves it the job's own. The files are created (mode 0600)
// or emptied, and appended to, so that one file may take both.
struct OutputFiles {
  std::string standardOutput{};
  std::string standardError{};
};

// Starts the program arguments[0] (a path; nothing is searched) with these arguments exactly as
// they are: no shell sees them. The child leads a process group of its own, reads from /dev/null
// (from nothing where that cannot be opened), has no descriptor above 2, default signal
// dispositions and an empty signal mask. Returns its process id, which the caller waits for, or
// PROGRAM_NOT_STARTED (never a child's id).
[[nodiscard]] pid_t SpawnExternalProgram(const std::vector<std::string>& arguments,
                                         const OutputFiles& output = {});

// The same for arguments that were made ready before (a null ends them): nothing is allocated.
[[nodiscard]] pid_t SpawnPrepared(char* const* arguments, const OutputFiles& output = {});

// The arguments as SpawnPrepared takes them; they point into `arguments`, which must outlive them.
[[nodiscard]] std::vector<char*> argumentVector(const std::vector<std::string>& arguments);

// SpawnExternalProgram for a text that needs the shell's own features: "/bin/sh" "-c" `command`.
[[nodiscard]] pid_t SpawnShellCommand(const std::string& command, const OutputFiles& output = {});

// Waits for a child. With a time-out above 0 (seconds) a child that outlives it is ended by SIGKILL
// together with its process group. Returns the exit code, PROGRAM_TIMED_OUT, or PROGRAM_WAIT_FAILED
// when waiting failed or the child did not exit by itself. Other signals do not end the wait.
[[nodiscard]] int WaitForExternalProgram(pid_t pid, int timeoutSeconds);

// Runs a shell command to its end, without a time-out. The result is that of system(): the wait
// status, or -1 with errno. Unlike with system() the child inherits no descriptor above 2.
[[nodiscard]] int RunShellCommand(const std::string& command);

// The process check. A process runs when signal 0 finds it, whatever ps says, or when "ps -p %d"
// lists it. One that ended and is not yet waited for does not run.
[[nodiscard]] bool psProcessIsRunning(pid_t pid);

// The same without asking ps: whether signal 0 finds a process that has not ended.
[[nodiscard]] bool processExists(pid_t pid);

// Deletes a file. False when it could not be deleted, with errno; the reason is traced.
bool psRemoveFile(const std::string& name);

[[nodiscard]] bool psFileExists(const std::string& name);

// Bytes; nothing when the file cannot be examined.
[[nodiscard]] std::optional<long long> psFileSize(const std::string& name);

}  // namespace orv
