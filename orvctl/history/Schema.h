#pragma once

#include <span>
#include <string_view>

#include "orvctl/history/Database.h"

// The tables of a history and how they came about. Ids are given by the one loader that writes at a
// time. There are no foreign keys: what belongs together is written and pruned in one transaction,
// and checking them row by row would take longer than loading.
namespace orv::ctl::history {

// What leads from one version of the schema to the next, in order: element 0 to version 1.
[[nodiscard]] std::span<const std::span<const std::string_view>> migrations();

// Brings the database to the schema that this program knows, in one transaction; with READ a
// database that is there already may still need that once. Throws CtlError when it holds no
// history (READ) or one of a newer program, soci::soci_error when it cannot be changed.
void requireSchema(Database& database, Database::Access access);

}  // namespace orv::ctl::history
