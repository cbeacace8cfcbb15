#include "orvctl/history/History.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "orvctl/history/Database.h"
#include "orvctl/history/Load.h"
#include "orvctl/history/Schema.h"

namespace orv::ctl {

using history::Database;
using history::reported;
using history::Transaction;

History::History(const std::string& name, Access access) {
  const auto mode = access == Access::READ ? Database::Access::READ : Database::Access::WRITE;
  m_database = std::make_unique<Database>(name, mode);
  reported("use history " + m_database->shownName(),
           [&] { history::requireSchema(*m_database, mode); });
}

History::~History() = default;
History::History(History&& other) noexcept = default;

History::Added History::add(const Scan& scan, const std::string& host) {
  const std::string what =
      fmt::format("add {} to history {}", scan.result, m_database->shownName());
  const std::string& owner = scan.host.empty() ? host : scan.host;
  if (owner.empty())
    throw CtlError(fmt::format("cannot {}: it does not tell its host; name it with --host", what));
  if (std::ranges::any_of(scan.roots, &Root::isSelection))
    throw CtlError(fmt::format(
        "cannot {}: it counts only what a where clause admits and compares with no other scan",
        what));
  return reported(what, [&] {
    Added added;
    Transaction transaction(*m_database, Database::Access::WRITE);
    for (const Root& root : scan.roots)
      if (!root.main().totals || root.scanned == 0)
        ++added.empty;
      else if (history::loadRoot(*m_database, scan, root, owner, std::time(nullptr) * 1000))
        ++added.scans;
      else
        ++added.present;
    transaction.commit();
    return added;
  });
}

std::vector<StoredScan> History::list(const ScanFilter& filter) {
  return reported("read history " + m_database->shownName(), [&] {
    Transaction transaction(*m_database, Database::Access::READ);
    return history::storedScans(*m_database, filter);
  });
}

StoredFigures History::show(std::int64_t id, int top) {
  auto figures = reported("read history " + m_database->shownName(), [&] {
    Transaction transaction(*m_database, Database::Access::READ);
    return history::storedFigures(*m_database, id, top);
  });
  if (figures.scan.id == 0)
    throw CtlError(
        fmt::format("cannot show scan {}: it is not in history {}", id, m_database->shownName()));
  return figures;
}

std::vector<StoredScan> History::prune(const ScanFilter& filter, std::span<const KeepRule> rules,
                                       std::int64_t now, Prune mode) {
  return reported("prune history " + m_database->shownName(), [&] {
    Transaction transaction(*m_database,
                            mode == Prune::TELL ? Database::Access::READ : Database::Access::WRITE);
    auto gone = history::unkept(history::storedScans(*m_database, filter), rules, now);
    if (mode == Prune::TELL || gone.empty())
      return gone;
    history::removeScans(*m_database, gone);
    transaction.commit();
    m_database->giveBackSpace();
    return gone;
  });
}

}  // namespace orv::ctl
