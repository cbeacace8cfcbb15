#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "Scan/accumulate/Accumulator.h"
#include "Scan/results/TotalsRecords.h"

namespace orv {

class Filesystem;

// Totals per owner or per group, for as many of them as the tree has.
//
// Records are kept by the identity's uid or gid, as the unsigned number that the system means by
// it: 4294967294 is the highest, not -2. Ids that share one UserOrGroup (the same name) count
// together under that record's number.
class UserOrGroupAccum final : public Accumulator {
 public:
  static constexpr int OWNERS = 0;
  static constexpr int GROUPS = 1;

  // `kind` is OWNERS or GROUPS. `filesystem` must outlive the accumulator.
  UserOrGroupAccum(int kind, const Filesystem& filesystem);

  // Traces and leaves out an entry without owner (or group).
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  // Hands the records over, highest identifier first. Later calls have no effect.
  void finish(CuStatResults* results) override;

 private:
  [[nodiscard]] const UserOrGroup* identityOf(const FileAttributes& info) const;
  [[nodiscard]] SUserOrGroup& recordOf(const UserOrGroup& identity);

  const Filesystem& m_filesystem;
  std::map<std::uint32_t, std::unique_ptr<SUserOrGroup>> m_records;
  std::uint8_t m_kind;
  bool m_finished = false;

  // The identity met last, which most entries of a directory share, and its record.
  const UserOrGroup* m_lastIdentity = nullptr;
  SUserOrGroup* m_lastRecord = nullptr;
};

}  // namespace orv
