#pragma once

#include <cstdint>
#include <memory>

#include "Scan/accumulate/Accumulator.h"
#include "Scan/accumulate/NMost.h"
#include "Scan/results/EntryRecords.h"

namespace orv {

class Filesystem;

// The file rankings. Each subclass says which files it offers, under which key (the higher, the
// better), and which slot of the results its chain goes to; keeping the best is common to all.
class FileAccum : public Accumulator {
 public:
  // `name` is the concrete class's name; `nMaxToRetain` files are kept.
  FileAccum(const char* name, std::int32_t nMaxToRetain);

  // Completes the retained records and hands them over, highest key first; among equal keys the
  // file offered later comes first. Later calls have no effect.
  void finish(CuStatResults* results) final;

  // A row per retained file.
  void save(RowSink& sink) const final;
  void absorb(Scanner& scanner, const StateRow& row) final;

 protected:
  // Offers a file under `key`. Only regular files and symbolic links are taken.
  virtual void add(Scanner* pScanner, FileAttributes* pInfo, std::int64_t key, FileStatKind kind);

  // Hangs the finished chain into its result slot.
  virtual void store(CuStatResults& results, RecordChain<SFile> head) = 0;

 private:
  std::unique_ptr<NMost<SFile>> m_most;  // null after finish
};

// The largest files. The key is the low 32 bits of the size as a signed number (of the block count
// on FAT): deliberate, so 3 GiB rank below 1 KiB and sizes from 4 GiB on by their remainder.
class LargeFileAccum final : public FileAccum {
 public:
  explicit LargeFileAccum(std::int32_t nMaxToRetain);
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

 private:
  void store(CuStatResults& results, RecordChain<SFile> head) override;
};

// The files not accessed for longest.
class OldFileAccum final : public FileAccum {
 public:
  explicit OldFileAccum(std::int32_t nMaxToRetain);
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

 private:
  void store(CuStatResults& results, RecordChain<SFile> head) override;
};

// The files changed since their last backup (archive flag), the longest unchanged first.
class VulnerableFileAccum final : public FileAccum {
 public:
  explicit VulnerableFileAccum(std::int32_t nMaxToRetain);
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

 private:
  void store(CuStatResults& results, RecordChain<SFile> head) override;
};

// The largest files whose owner is unknown, by their full size.
class LargestOrphansAccum final : public FileAccum {
 public:
  explicit LargestOrphansAccum(std::int32_t nMaxToRetain);
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

 private:
  void store(CuStatResults& results, RecordChain<SFile> head) override;
};

// The files of unknown owners not accessed for longest.
class OldestOrphansAccum final : public FileAccum {
 public:
  explicit OldestOrphansAccum(std::int32_t nMaxToRetain);
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

 private:
  void store(CuStatResults& results, RecordChain<SFile> head) override;
};

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

  // A row per retained directory.
  void save(RowSink& sink) const override;
  void absorb(Scanner& scanner, const StateRow& row) override;

 private:
  void offer(std::unique_ptr<SDirectory> directory);

  const Filesystem& m_filesystem;
  RecordChain<SDirectory> m_open;             // innermost first
  std::unique_ptr<NMost<SDirectory>> m_most;  // null after finish
};

}  // namespace orv
