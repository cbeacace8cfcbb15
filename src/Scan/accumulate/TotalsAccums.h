#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Scan/accumulate/Accumulator.h"
#include "Scan/accumulate/PartState.h"
#include "Scan/results/TotalsRecords.h"

namespace orv {

class Filesystem;

// Counts files, directories and bytes, into a record that the results own.
class SummaryAccum final : public Accumulator {
 public:
  // `record` must outlive the accumulator.
  explicit SummaryAccum(SSummary* record);

  // Files are regular files and symbolic links; the size counts entries of every type.
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  // Takes over the figures of the results' record when that is another one than its own.
  void finish(CuStatResults* results) override;

  void save(RowSink& sink) const override;
  void absorb(Scanner& scanner, const StateRow& row) override;

 private:
  SSummary* m_pSSummary;
};

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

  // A row per identity.
  void save(RowSink& sink) const override;
  void absorb(Scanner& scanner, const StateRow& row) override;

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

// The file types (extensions) with the largest total size.
//
// An extension counts as it stands, byte for byte: where file names differ by case, so do their
// types ("C" and "c", "Z" and "z"). A report may add them up; what was added up here could not be
// parted again.
class FileTypeAccum final : public Accumulator {
 public:
  // `proID` is the profile's identifier; `ftNumber` types are kept.
  FileTypeAccum(std::int32_t proID, std::int32_t ftNumber);
  ~FileTypeAccum() override;

  // Counts regular files that have an extension, under the scan's type for it.
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  // Ranks the types and hands the survivors over, largest first. Later calls have no effect.
  void finish(CuStatResults* results) override;

  // A row per type, with the place that it was met at first: types are numbered in that order.
  void save(RowSink& sink) const override;
  void absorb(Scanner& scanner, const StateRow& row) override;

  // Points `ext` at the extension of the path `name`: what follows the last "." of its last
  // component. False, with `ext` left alone, when there is none: no ".", nothing behind it, nothing
  // before it (hidden files), a blank or backslash in between, or, but with `winOS`, more than six
  // characters. With `winOS` a character above 126 also ends the search.
  [[nodiscard]] static bool extractExtensionName(std::string_view name, bool winOS,
                                                 std::string_view& ext) noexcept;

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>{}(text);
    }
  };
  struct Counted {
    std::unique_ptr<FileTypeSummary> summary;
    std::string firstPlace;  // empty where entries have no places
  };
  using Summaries = std::unordered_map<std::string, Counted, Hash, std::equal_to<>>;

  [[nodiscard]] Counted& summaryOf(std::string_view ext, const Scanner& scanner);
  static void noteFirst(Counted& counted, const std::string& place, const Scanner& scanner);

  // Hashed for counting; `finish` ranks in the order of the text.
  Summaries m_summaries;
  Summaries::value_type* m_last = nullptr;  // the extension met last
  std::int32_t m_proID;
  std::int32_t m_ftNumber;
  bool m_winOS = false;
  bool m_finished = false;
};

}  // namespace orv
