#pragma once

#include "runtime/ut/Trace.h"
#include "support/TempDir.h"

namespace orv::test {

// The whole trace of a scope, at level MAX.
class CapturedTrace final {
 public:
  CapturedTrace() {
    if (!trace::open(m_dir.file("trace"), "MAX", 100'000, true))
      throw std::runtime_error("open the trace");
  }
  ~CapturedTrace() { trace::close(); }
  CapturedTrace(const CapturedTrace&) = delete;
  CapturedTrace& operator=(const CapturedTrace&) = delete;

  [[nodiscard]] bool contains(const std::string& text) const {
    return readFile(m_dir.file("trace")).find(text) != std::string::npos;
  }

 private:
  TempDir m_dir;
};

}  // namespace orv::test
