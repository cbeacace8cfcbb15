#include "orvctl/history/Database.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <soci/postgresql/soci-postgresql.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <vector>

#include "orvctl/text/DisplayText.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl::history {

struct Dialect {
  std::vector<std::string> setUp;         // once per connection
  std::vector<std::string> setUpToWrite;  // once per connection that writes
  std::vector<std::string> beginWriting;
  std::string beginReading;
  std::string tableExists;  // yields a row when the table :name is there
  std::vector<std::string> giveBackSpace;
};

namespace {

const Dialect SQLITE = {
    .setUp = {},
    // Takes effect in a file that holds nothing yet: space of deleted rows can be given back.
    .setUpToWrite = {"PRAGMA auto_vacuum = INCREMENTAL"},
    .beginWriting = {"BEGIN IMMEDIATE"},
    .beginReading = "BEGIN",
    .tableExists = "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = :name",
    .giveBackSpace = {"PRAGMA incremental_vacuum"},
};

// The limits keep a loader whose host is gone from holding up the others.
const Dialect POSTGRESQL = {
    .setUp = {"SET client_min_messages = warning", "SET client_encoding = 'UTF8'",
              "SET lock_timeout = '60s'", "SET idle_in_transaction_session_timeout = '60s'",
              // Since version 14: a server that works for a client looks whether it is still there.
              "SELECT set_config(name, '5s', false) FROM pg_settings"
              " WHERE name = 'client_connection_check_interval'"},
    .setUpToWrite = {},
    .beginWriting = {"BEGIN", "SELECT pg_advisory_xact_lock(7310585490372850798)"},
    .beginReading = "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY",
    .tableExists = "SELECT 1 FROM pg_catalog.pg_class WHERE oid = to_regclass(:name)",
    .giveBackSpace = {},
};

constexpr std::array POSTGRESQL_PREFIXES = {"postgresql://", "postgres://"};
constexpr std::array SQLITE_PREFIXES = {"sqlite3://", "sqlite://"};

bool isPostgresql(const std::string& name) {
  return std::ranges::any_of(POSTGRESQL_PREFIXES,
                             [&](const char* prefix) { return name.starts_with(prefix); });
}

[[noreturn]] void cannotOpen(const std::string& name, const std::string& why) {
  throw CtlError(fmt::format("cannot open history {}: {}", printable(name), why));
}

std::string fileOf(const std::string& name) {
  for (const std::string_view prefix : SQLITE_PREFIXES)
    if (name.starts_with(prefix))
      return name.substr(prefix.size());
  const std::size_t scheme = name.find("://");
  if (scheme != std::string::npos && name.find('/') == scheme + 1)
    cannotOpen(name, "it is neither a file nor postgresql://...");
  return name;
}

// Opens or makes the file beforehand: SQLite would make it readable by everybody, and of a file
// that cannot be opened it does not tell why.
std::string sqliteParameters(const std::string& name, Database::Access access) {
  const std::string file = fileOf(name);
  if (file.empty() || file.find('"') != std::string::npos)
    cannotOpen(name, "its name cannot be expressed (it is empty or holds a quote)");
  const bool writes = access == Database::Access::WRITE;
  const UniqueFd opened(
      ::open(file.c_str(), (writes ? O_RDWR | O_CREAT : O_RDONLY) | O_CLOEXEC, 0640));
  if (!opened && errno == ENOENT && !writes)
    cannotOpen(name, "there is none yet; add results with: orvctl history add RESULT");
  if (!opened)
    cannotOpen(name, errnoText(errno));
  return "db=\"" + file + "\" timeout=60";
}

// Bounds what a silent network would make endless, unless the name has limits of its own.
std::string postgresqlParameters(std::string name) {
  struct Parameter {
    const char* name;
    const char* value;
  };
  static constexpr std::array<Parameter, 3> DEFAULTS = {
      {{"connect_timeout", "10"}, {"tcp_user_timeout", "60000"}, {"application_name", "orvctl"}}};
  for (const Parameter& parameter : DEFAULTS)
    if (name.find(std::string(parameter.name) + "=") == std::string::npos)
      name += fmt::format("{}{}={}", name.find('?') == std::string::npos ? '?' : '&',
                          parameter.name, parameter.value);
  return name;
}

soci::connection_parameters parametersOf(const std::string& name, Database::Access access) {
  if (isPostgresql(name))
    return {soci::postgresql, postgresqlParameters(name)};
  return {soci::sqlite3, sqliteParameters(name, access)};
}

}  // namespace

Database::Database(const std::string& name, Access access)
    : m_dialect(isPostgresql(name) ? &POSTGRESQL : &SQLITE),
      m_shownName(printable(withoutPassword(name))) {
  try {
    m_session.open(parametersOf(name, access));
    for (const std::string& statement : m_dialect->setUp)
      m_session << statement;
    if (access == Access::WRITE)
      for (const std::string& statement : m_dialect->setUpToWrite)
        m_session << statement;
  } catch (const soci::soci_error& error) {
    cannotOpen(m_shownName, reasonOf(error));
  }
}

bool Database::hasTable(const std::string& table) {
  int found = 0;
  m_session << m_dialect->tableExists, soci::use(table), soci::into(found);
  return m_session.got_data();
}

void Database::giveBackSpace() {
  for (const std::string& statement : m_dialect->giveBackSpace) {
    soci::statement step = (m_session.prepare << statement);
    // SQLite frees one page per step.
    step.execute();
    while (step.fetch()) {
    }
  }
}

Transaction::Transaction(Database& database, Database::Access access)
    : m_session(database.m_session) {
  const Dialect& dialect = *database.m_dialect;
  if (access == Database::Access::READ)
    m_session << dialect.beginReading;
  else
    for (const std::string& statement : dialect.beginWriting)
      m_session << statement;
  m_open = true;
}

Transaction::~Transaction() {
  if (!m_open)
    return;
  try {
    m_session << "ROLLBACK";
  } catch (const std::exception&) {
    // The connection is gone, and the transaction with it.
  }
}

void Transaction::commit() {
  m_session << "COMMIT";
  m_open = false;
}

std::string reasonOf(const soci::soci_error& error) {
  std::string line;
  for (const char c : error.get_error_message()) {
    const bool blank = c == '\n' || c == '\t' || c == ' ';
    if (!blank)
      line += c;
    else if (!line.empty() && line.back() != ' ')
      line += ' ';
  }
  line.resize(line.find_last_not_of(' ') + 1);
  for (const std::string_view noise : {"Cannot establish connection to the database. ",
                                       "Cannot execute query. ", "Fatal error. ", "ERROR: "})
    if (line.starts_with(noise))
      line.erase(0, noise.size());
  // "sqlite3_statement_backend::loadOne: database or disk is full"
  if (const std::size_t function = line.find("::"); function < line.find(' '))
    line.erase(0, line.find(' ') + 1);
  return printable(line);
}

std::string withoutPassword(const std::string& name) {
  std::string shown = name;
  const std::size_t user = std::min(shown.find("://"), shown.size() - 3) + 3;
  const std::size_t end = std::min(shown.find_first_of("/?", user), shown.size());
  const std::size_t host = shown.rfind('@', end);
  const std::size_t colon = shown.find(':', user);
  if (isPostgresql(name) && host != std::string::npos && colon < host)
    shown.replace(colon + 1, host - colon - 1, "***");
  constexpr std::string_view PARAMETER = "password=";
  for (std::size_t at = 0; (at = shown.find(PARAMETER, at)) != std::string::npos;) {
    at += PARAMETER.size();
    shown.replace(at, std::min(shown.find('&', at), shown.size()) - at, "***");
  }
  return shown;
}

}  // namespace orv::ctl::history
