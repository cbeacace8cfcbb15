#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "faults/FaultPlan.h"

// Preloaded into a job: counts its calls and lets those fail that the plan names. Of the programs
// that a job runs only `scan` itself, with its forks, is concerned.
using namespace orv::faults;

namespace {

FaultPlan* plan = nullptr;
thread_local int insideCalls = 0;

[[gnu::constructor]] void mapPlan() {
  const char* path = std::getenv(PLAN_VARIABLE);
  if (path == nullptr || std::strcmp(program_invocation_short_name, "scan") != 0)
    return;
  const int fd = ::open(path, O_RDWR | O_CLOEXEC);
  void* mapped = ::mmap(nullptr, sizeof(FaultPlan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  ::close(fd);
  if (fd < 0 || mapped == MAP_FAILED)
    std::abort();
  plan = static_cast<FaultPlan*>(mapped);
}

// An allocation within one of the calls is that call's affair, which can fail itself.
bool strikes(CallNumber number) {
  if (plan == nullptr || (number == CALL_malloc && insideCalls > 0))
    return false;
  const long count = ++plan->counts[number];
  if (plan->call != number || count < plan->first || (count > plan->first && !plan->on))
    return false;
  ++plan->hits;
  errno = plan->error;
  return true;
}

// What system calls and their kin have in common: up to six words go in, one comes back.
using Words = long(long, long, long, long, long, long);

long answer(CallNumber number, Says says, Words* real, long a, long b, long c, long d, long e,
            long f) {
  const bool fails = strikes(number);
  const bool isShort = fails && plan->error == SHORT_COUNT;
  long result = 0;
  if (!fails || isShort || says == Says::LATE) {
    ++insideCalls;
    result = real(a, b, isShort ? (c + 1) / 2 : c, d, e, f);
    --insideCalls;
  }
  if (!fails || isShort)
    return result;
  if (says == Says::STREAM)
    reinterpret_cast<std::FILE*>(a)->_flags |= _IO_ERR_SEEN;
  errno = plan->error;
  return says == Says::CODE ? plan->error : says == Says::NOTHING || says == Says::STREAM ? 0 : -1;
}

}  // namespace

#define ORV_WRAP(name, says, errors)                                                \
  extern "C" long faulty_##name(long, long, long, long, long, long) __asm__(#name); \
  extern "C" long faulty_##name(long a, long b, long c, long d, long e, long f) {   \
    static Words* const real = reinterpret_cast<Words*>(::dlsym(RTLD_NEXT, #name)); \
    return answer(CALL_##name, Says::says, real, a, b, c, d, e, f);                 \
  }
ORV_FAULTY_CALLS(ORV_WRAP)

// Allocation, which dlsym itself needs: by the C library's own second names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
  return strikes(CALL_malloc) ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return strikes(CALL_malloc) ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) {
  return strikes(CALL_malloc) ? nullptr : __libc_realloc(block, size);
}
}
