#pragma once

namespace orv {

// Whether the program was started not by people but by a scan that several processes do: with
// "-share WORKDIRECTORY NUMBER" for one share, with "-worker ..." for one after the other.
[[nodiscard]] bool isPartOfScan(int argc, char** argv) noexcept;

// Is that part. A share is walked as the definition and the share in the work directory say, and
// leaves its state there; it has no lock, result or notification of its own, those are the scan's.
// What goes wrong is said on standard error. 0 when all states are there, else 8. Nothing is
// thrown.
[[nodiscard]] int runPartOfScan(char** argv) noexcept;

}  // namespace orv
