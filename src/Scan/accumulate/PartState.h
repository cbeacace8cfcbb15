#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Scan/results/EntryRecords.h"

namespace orv {

class CuStatAccum;
class CuStatDef;

// One row of what an accumulator holds: figures, under a key where there are several, and the entry
// that they belong to where it is one. Which figure means what is the accumulator's own matter: it
// writes the rows of a part of a tree and reads those of all parts.
struct StateRow {
  std::string key;
  std::string place;  // of the first entry that the key was met with; empty where nobody asks
  std::vector<std::int64_t> figures;
  FileAttributes entry;  // valid when `hasEntry`
  bool hasEntry = false;
};

// Takes the rows of one accumulator.
class RowSink {
 public:
  RowSink() = default;
  virtual ~RowSink() = default;
  RowSink(const RowSink&) = delete;
  RowSink& operator=(const RowSink&) = delete;

  virtual void row(std::string_view key, std::string_view place,
                   std::span<const std::int64_t> figures, const FileAttributes* entry) = 0;
};

// Reads figures in the order in which they were appended.
class FigureReader final {
 public:
  explicit FigureReader(const StateRow& row) noexcept : m_figures(row.figures) {}
  // 0 behind the last: a row of an earlier program may lack what came later.
  [[nodiscard]] std::int64_t next() noexcept {
    return m_at < m_figures.size() ? m_figures[m_at++] : 0;
  }

 private:
  const std::vector<std::int64_t>& m_figures;
  std::size_t m_at = 0;
};

// The first names of hard-linked files that a container meets in a part of a tree. Which name of a
// file is left out is decided when all parts are known, so the names are kept.
class FirstNames {
 public:
  FirstNames() = default;
  virtual ~FirstNames() = default;
  FirstNames(const FirstNames&) = delete;
  FirstNames& operator=(const FirstNames&) = delete;

  // Whether nobody told of this inode before; the name is kept then. May say so again of an inode
  // that was told of long ago: such names are sorted out at the end.
  [[nodiscard]] virtual bool isFirst(const FileAttributes& info) = 0;
};

// Keeps what the containers gathered in a part of a tree. Owned by who walks the part, called on
// the scanning thread.
class PartKeeper {
 public:
  PartKeeper() = default;
  virtual ~PartKeeper() = default;
  PartKeeper(const PartKeeper&) = delete;
  PartKeeper& operator=(const PartKeeper&) = delete;

  [[nodiscard]] virtual std::unique_ptr<FirstNames> makeFirstNames() = 0;
  // The container has met all of `directory` that lies in the part.
  virtual void keep(CuStatAccum& container, const CuStatDef& profile, const SMonDir& directory) = 0;
};

}  // namespace orv
