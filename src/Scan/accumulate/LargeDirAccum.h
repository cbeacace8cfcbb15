#pragma once

#include <cstdint>
#include <memory>

#include "Scan/accumulate/Accumulator.h"
#include "Scan/accumulate/NMost.h"
#include "Scan/results/EntryRecords.h"

namespace orv {

class Filesystem;

// The directories with the largest total size of their direct entries. Its CuStatAccum holds it
// apart from the other accumulators, shows it every entry before the hard-link rule, and tells it
// when directories are entered and left.
//
// Every name of a hard-linked file counts in its directory, a second name in the same directory,
// too: deliberate, a directory's figures describe the names that it lists.
class LargeDirAccum final : public Accumulator {
 public:
  // `filesystem` must outlive the accumulator.
  LargeDirAccum(std::int32_t nMaxToRetain, const Filesystem& filesystem);
  ~LargeDirAccum() override;

  // Opens a record for the directory, inside the one that is open now.
  void newDirectory(FileAttributes* pDirInfo);
  // Closes the open directory's record and offers it to the ranking.
  void leaveDirectory();

  // Counts the entry in the open directory.
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  // Drops the records of directories still open, for a walk that ended early.
  void finish(CuStatResults* results) override;

 private:
  const Filesystem& m_filesystem;
  RecordChain<SDirectory> m_open;             // innermost first
  std::unique_ptr<NMost<SDirectory>> m_most;  // null after finish
};

}  // namespace orv
