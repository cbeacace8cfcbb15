#pragma once

#include <soci/soci.h>

#include <string>

#include "orvctl/text/CtlError.h"

// The one access layer to a history's database: everything that tells SQLite from PostgreSQL is
// behind it, all other statements of the room run on both. Included in this room only, because it
// shows SOCI.
namespace orv::ctl::history {

// What the two databases say differently (the table in Database.cpp).
struct Dialect;

// One connection. Owned by a History, used by one thread.
class Database final {
 public:
  enum class Access {
    READ,  // what is there; nothing is created
    WRITE  // a SQLite file is created when it is missing, readable by owner and group
  };

  // Connects to the database that `name` means: "postgresql://..." (as libpq reads it) or the path
  // of a SQLite file, with or without "sqlite3://" before it. Throws CtlError.
  Database(const std::string& name, Access access);

  // For statements; a failing one throws soci::soci_error, which `reported` makes readable.
  [[nodiscard]] soci::session& sql() noexcept { return m_session; }

  // Whether there is a table of that name that statements would find.
  [[nodiscard]] bool hasTable(const std::string& table);

  // Gives room that deleted rows took back to the filesystem, where the database does not do so by
  // itself. Not inside a transaction.
  void giveBackSpace();

  // How the database is called in messages: without the password that its name may hold.
  [[nodiscard]] const std::string& shownName() const noexcept { return m_shownName; }

 private:
  friend class Transaction;
  const Dialect* m_dialect;
  std::string m_shownName;
  soci::session m_session;
};

// A transaction; what was not committed is undone at its end. A writing one waits (a minute at
// most) until it is the only one of its database, so loaders come one after the other and ids can
// be counted on; readers see the state in which they began.
class Transaction final {
 public:
  Transaction(Database& database, Database::Access access);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  soci::session& m_session;
  bool m_open = false;
};

// A failure of the database in one line, without what names functions of the library or a password.
[[nodiscard]] std::string reasonOf(const soci::soci_error& error);

// Runs `work` and turns a failure of the database into a CtlError: "cannot <what>: <reason>".
template <typename Work>
auto reported(const std::string& what, Work&& work) {
  try {
    return work();
  } catch (const soci::soci_error& error) {
    throw CtlError("cannot " + what + ": " + reasonOf(error));
  }
}

// A name of a database as it may be shown: a password in it becomes "***".
[[nodiscard]] std::string withoutPassword(const std::string& name);

}  // namespace orv::ctl::history
