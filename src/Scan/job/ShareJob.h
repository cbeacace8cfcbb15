#pragma once

namespace orv {

// Walks one share of a scan that several processes do: reads the definition and the share in the
// work directory, and leaves the share's state there. Has no lock, result or notification of its
// own; those are the scan's. What goes wrong is said on standard error. 0 when the state is there,
// else 8. Nothing is thrown.
[[nodiscard]] int runShare(const char* workDirectory, const char* number) noexcept;

}  // namespace orv
