#pragma once

#include <array>
#include <atomic>
#include <cerrno>

// What the fault library and the sweep share: which calls can be made to fail, and the plan of one
// run, a file that every process of the job maps.
namespace orv::faults {

inline constexpr const char* PLAN_VARIABLE = "ORV_FAULT_PLAN";

// How a function says that it failed.
// LATE: -1, but what was asked for is done; STREAM: nothing, and the stream knows why.
enum class Says { MINUS_ONE, NOTHING, CODE, LATE, STREAM };

inline constexpr int SHORT_COUNT = -1;  // in the place of an errno: half of what was asked for

using Errors = std::array<int, 6>;
inline constexpr Errors OPEN{EMFILE, ENFILE, ENOMEM, EACCES, EIO, EINTR};
inline constexpr Errors LOOK{EIO, EACCES, ENOMEM, ESTALE};
inline constexpr Errors READ{EIO, ESTALE, EINTR, SHORT_COUNT};
inline constexpr Errors LIST{EIO, ESTALE, ENOMEM, EINTR};
inline constexpr Errors WRITE{ENOSPC, EIO, EDQUOT, EINTR, SHORT_COUNT};
inline constexpr Errors CHANGE{ENOSPC, EIO, EACCES, EROFS};
inline constexpr Errors DONE{EIO, ENOSPC, EINTR};
inline constexpr Errors LOCK{ENOLCK, EINTR};
inline constexpr Errors PROCESS{EAGAIN, ENOMEM, EACCES};
inline constexpr Errors WAIT{EINTR, ENOMEM, ECHILD};
inline constexpr Errors NAME{EIO, EMFILE, ENOMEM};
inline constexpr Errors MEMORY{ENOMEM};

// clang-format off
#define ORV_FAULTY_CALLS(X) \
  X(open, MINUS_ONE, OPEN) X(open64, MINUS_ONE, OPEN) X(openat, MINUS_ONE, OPEN) X(openat64, MINUS_ONE, OPEN) \
  X(fopen, NOTHING, OPEN) X(fopen64, NOTHING, OPEN) X(opendir, NOTHING, OPEN) X(fdopendir, NOTHING, OPEN) \
  X(catopen, MINUS_ONE, OPEN) X(mkostemp64, MINUS_ONE, OPEN) X(pipe2, MINUS_ONE, OPEN) X(dup2, MINUS_ONE, OPEN) \
  X(read, MINUS_ONE, READ) X(pread64, MINUS_ONE, READ) X(lseek64, MINUS_ONE, LOOK) X(readlink, MINUS_ONE, LOOK) \
  X(readdir64, NOTHING, LIST) X(getdents64, MINUS_ONE, LIST) X(getmntent_r, STREAM, LIST) \
  X(stat, MINUS_ONE, LOOK) X(stat64, MINUS_ONE, LOOK) X(lstat, MINUS_ONE, LOOK) X(lstat64, MINUS_ONE, LOOK) \
  X(fstat64, MINUS_ONE, LOOK) X(fstatat64, MINUS_ONE, LOOK) X(statx, MINUS_ONE, LOOK) X(access, MINUS_ONE, LOOK) \
  X(statfs64, MINUS_ONE, LOOK) X(statvfs, MINUS_ONE, LOOK) X(statvfs64, MINUS_ONE, LOOK) X(realpath, NOTHING, LOOK) \
  X(getcwd, NOTHING, LOOK) X(getrlimit64, MINUS_ONE, LOOK) X(setrlimit64, MINUS_ONE, LOOK) \
  X(write, MINUS_ONE, WRITE) X(writev, MINUS_ONE, CHANGE) X(pwrite64, MINUS_ONE, WRITE) X(fwrite, NOTHING, CHANGE) \
  X(fflush, MINUS_ONE, CHANGE) X(fclose, LATE, DONE) X(close, LATE, DONE) X(closedir, LATE, DONE) \
  X(ftruncate64, MINUS_ONE, CHANGE) X(fsync, MINUS_ONE, DONE) X(fdatasync, MINUS_ONE, DONE) \
  X(rename, MINUS_ONE, CHANGE) X(unlink, MINUS_ONE, CHANGE) X(remove, MINUS_ONE, CHANGE) X(mkdir, MINUS_ONE, CHANGE) \
  X(symlink, MINUS_ONE, CHANGE) X(chmod, MINUS_ONE, CHANGE) X(fchmod, MINUS_ONE, CHANGE) \
  X(fcntl64, MINUS_ONE, LOCK) X(lockf64, MINUS_ONE, LOCK) X(flock, MINUS_ONE, LOCK) \
  X(fork, MINUS_ONE, PROCESS) X(execv, MINUS_ONE, PROCESS) X(pthread_create, CODE, PROCESS) \
  X(setpgid, MINUS_ONE, PROCESS) X(kill, MINUS_ONE, PROCESS) X(prctl, MINUS_ONE, PROCESS) \
  X(setitimer, MINUS_ONE, PROCESS) X(close_range, MINUS_ONE, PROCESS) \
  X(waitpid, MINUS_ONE, WAIT) X(poll, MINUS_ONE, WAIT) X(select, MINUS_ONE, WAIT) X(nanosleep, MINUS_ONE, WAIT) \
  X(getpwuid, NOTHING, NAME) X(getgrgid, NOTHING, NAME) X(getpwuid_r, CODE, NAME) X(getgrgid_r, CODE, NAME) \
  X(getaddrinfo, CODE, MEMORY) X(setlocale, NOTHING, MEMORY) X(newlocale, NOTHING, MEMORY) \
  X(localtime_r, NOTHING, MEMORY) X(regcomp, CODE, MEMORY) X(regexec, CODE, MEMORY)
// clang-format on

// The calls by number; "malloc" stands for every way to allocate.
struct Call {
  const char* name;
  const Errors& errors;
};
#define ORV_ROW(name, says, errors) {#name, errors},
inline constexpr Call CALLS[] = {ORV_FAULTY_CALLS(ORV_ROW){"malloc", MEMORY}};
#undef ORV_ROW
#define ORV_NUMBER(name, says, errors) CALL_##name,
enum CallNumber { ORV_FAULTY_CALLS(ORV_NUMBER) CALL_malloc, CALL_COUNT };
#undef ORV_NUMBER

struct FaultPlan {
  int call = -1;    // its number; none fails
  int error = 0;    // an errno or SHORT_COUNT
  long first = 0;   // which of the job's calls fails, from 1
  bool on = false;  // and every later one
  std::atomic<long> hits;
  std::array<std::atomic<long>, CALL_COUNT> counts;
};

}  // namespace orv::faults
