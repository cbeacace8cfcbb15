#pragma once

#include <cstdint>

#include "Scan/accumulate/Accumulator.h"

namespace orv {

struct SSizeDist;
struct STimeDist;

// The age distributions: entries by their age at the start of the scan, into a record that the
// results own. Each subclass says which of an entry's times makes its age.
class TimeDistAccum : public Accumulator {
 public:
  // Ages are in whole seconds. What is dated more than a day after the start of the scan is counted
  // apart and leaves the average alone; what is less ahead counts with its negative age.
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  // Sets the average age when any entry made it up.
  void finish(CuStatResults* results) final;

  void save(RowSink& sink) const final;
  void absorb(Scanner& scanner, const StateRow& row) final;

  // The time that defines the entry's age, in milliseconds since 1970. Throws std::invalid_argument
  // for a null entry, which ends the scan of the tree.
  [[nodiscard]] virtual std::int64_t time(FileAttributes* pInfo) = 0;

 protected:
  // `record` must outlive the accumulator.
  TimeDistAccum(const char* name, STimeDist* record);

 private:
  STimeDist* m_record;
  std::int64_t m_fileCount = 0;
  std::int64_t m_ageSum = 0;  // seconds
};

// By last access.
class AccessedDistAccum final : public TimeDistAccum {
 public:
  explicit AccessedDistAccum(STimeDist* record);
  [[nodiscard]] std::int64_t time(FileAttributes* pInfo) override;
};

// By last modification.
class ModifiedDistAccum final : public TimeDistAccum {
 public:
  explicit ModifiedDistAccum(STimeDist* record);
  [[nodiscard]] std::int64_t time(FileAttributes* pInfo) override;
};

// By creation; made only where the platform records it.
class CreatedDistAccum final : public TimeDistAccum {
 public:
  explicit CreatedDistAccum(STimeDist* record);
  [[nodiscard]] std::int64_t time(FileAttributes* pInfo) override;
};

// Files changed since their last backup (archive flag), by modification: there is no backup time.
class BackupDistAccum final : public TimeDistAccum {
 public:
  explicit BackupDistAccum(STimeDist* record);
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  [[nodiscard]] std::int64_t time(FileAttributes* pInfo) override;
};

// Counts entries of every type by size bucket, into a record that the results own.
class SizeDistAccum final : public Accumulator {
 public:
  // `record` must outlive the accumulator.
  explicit SizeDistAccum(SSizeDist* record);

  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  // The record is complete at any time: nothing to do.
  void finish(CuStatResults* results) override;

  void save(RowSink& sink) const override;
  void absorb(Scanner& scanner, const StateRow& row) override;

 private:
  SSizeDist* m_record;
};

}  // namespace orv
