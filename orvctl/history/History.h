#pragma once

#include <memory>

#include "orvctl/history/StoredScans.h"

// The figures of many scans of many hosts in one database, so that they can be compared.
namespace orv::ctl {

// An open history. Used by one thread; several programs may have the same one open. What cannot be
// done throws a CtlError and changes nothing.
class History final {
 public:
  enum class Access {
    READ,  // a history that is there
    ADD    // made when it is missing
  };

  // Connects and brings an older schema forward. `name` is the path of a SQLite file or
  // "postgresql://...".
  History(const std::string& name, Access access);
  ~History();
  History(History&& other) noexcept;

  struct Added {
    int scans = 0;    // that are new
    int present = 0;  // that were there already: same host, path and start
    int empty = 0;    // of which the result holds no totals
  };
  // Adds every path of a result, or nothing when that fails. `host` names the host of a result that
  // does not tell its own.
  Added add(const Scan& scan, const std::string& host);

  // The newest first of every host and path, which are in alphabetical order.
  [[nodiscard]] std::vector<StoredScan> list(const ScanFilter& filter);

  // One scan with at most `top` of each of its figures. Throws CtlError for an id that is not
  // there.
  [[nodiscard]] StoredFigures show(std::int64_t id, int top);

  // The scans that no rule keeps, which are removed unless `mode` says to tell them only. The
  // newest of a host and path always stays.
  enum class Prune { REMOVE, TELL };
  std::vector<StoredScan> prune(const ScanFilter& filter, std::span<const KeepRule> rules,
                                std::int64_t now, Prune mode);

  // For the queries of this room.
  [[nodiscard]] history::Database& database() noexcept { return *m_database; }

 private:
  std::unique_ptr<history::Database> m_database;
};

}  // namespace orv::ctl
