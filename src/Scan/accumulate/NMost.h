#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "Scan/results/RecordChain.h"
#include "runtime/ut/Trace.h"

namespace orv {

// The ranking key of one retained entry: by value, among equal values in the order of arrival.
// Entries that have places (those of a part of a tree) are kept whatever the order of arrival:
// among equal values what one walk meets later ranks lower.
struct Orderer {
  std::int64_t value;
  std::int32_t sequence;
  std::string_view place = {};  // points into the record; empty without one

  friend bool operator<(const Orderer& a, const Orderer& b) noexcept {
    if (a.value != b.value)
      return a.value < b.value;
    return a.place != b.place ? a.place > b.place : a.sequence < b.sequence;
  }
};

// Where a record stands in the order of one walk; empty for records that have no place.
template <typename Record>
[[nodiscard]] std::string_view placeOf(const Record& record) noexcept {
  if constexpr (requires { record.faPlace; })
    return record.faPlace;
  else
    return {};
}

// A bounded ranking: keeps the N records with the highest keys and owns them. Owned by one
// accumulator, used on the scanning thread.
//
//   if (most.mustAdd(key)) {
//     std::unique_ptr<SFile> record = most.blank();
//     ... fill the record ...
//     most.add(std::move(record));
//   }
//
// Ties: a key equal to the lowest retained one is refused by a full ranking; among equal lowest
// keys the earliest goes first. A full ranking allocates nothing: it reuses the record that the
// last eviction set free, and the tree node of the evicted one.
template <typename Record>
class NMost final {
 public:
  explicit NMost(std::int32_t maxToRetain) : m_maxToRetain(maxToRetain) {
    TRACE(TR_MAX, "NMost::NMost() : Max. to retain = %d.", maxToRetain);
  }
  NMost(const NMost&) = delete;
  NMost& operator=(const NMost&) = delete;

  // Whether a record with that key belongs to the ranking as it stands. The key is kept for the
  // next `add`.
  [[nodiscard]] bool mustAdd(std::int64_t key, std::string_view place = {}) noexcept {
    m_pendingKey = key;
    if (m_retained < m_maxToRetain || key > m_lowestKey)
      return true;
    return key == m_lowestKey && !place.empty() && !m_entries.empty() &&
           place < m_entries.begin()->first.place;
  }

  // A record to fill and add. Its fields hold what an earlier use left in them.
  [[nodiscard]] std::unique_ptr<Record> blank() {
    return m_spare ? std::move(m_spare) : std::make_unique<Record>();
  }

  // Adds the record under the key of the last `mustAdd`, which must have returned true. A full
  // ranking drops its lowest record.
  void add(std::unique_ptr<Record> record) {
    if (!record) {
      TRACE(TR_MAX,
            "NMost::add() : ERROR: the parameter <pFileAttributes> is NULL. Leaving method.");
      return;
    }
    const Orderer order{m_pendingKey, nextSequence(), placeOf(*record)};
    if (m_retained < m_maxToRetain) {
      m_entries.emplace(order, std::move(record));
      ++m_retained;
    } else {
      replaceLowest(order, std::move(record));
    }
    m_lowestKey = m_entries.begin()->first.value;
  }

  // Shows every record, in no order that means anything.
  template <typename Show>
  void forEach(Show show) const {
    for (const auto& [order, record] : m_entries)
      show(*record);
  }

  // Empties the ranking into a chain, highest rank first; `complete` sees every record. Among equal
  // keys what came, or what one walk meets, later comes first.
  template <typename Complete>
  [[nodiscard]] RecordChain<Record> takeChain(Complete complete) {
    RecordChain<Record> chain;
    for (auto first = m_entries.begin(); first != m_entries.end();) {
      // Equal keys with places are held the other way round.
      auto last = m_entries.upper_bound({first->first.value, MAX_SEQUENCE});
      const bool isPlaced = !first->first.place.empty();
      for (auto from = first, to = last; from != to;) {
        std::unique_ptr<Record>& record = isPlaced ? (--to)->second : (from++)->second;
        complete(*record);
        chain.pushFront(std::move(record));
      }
      first = last;
    }
    m_entries.clear();
    m_retained = 0;
    return chain;
  }

 private:
  static constexpr std::int32_t MAX_SEQUENCE = std::numeric_limits<std::int32_t>::max();

  void replaceLowest(const Orderer& order, std::unique_ptr<Record> record) {
    auto node = m_entries.extract(m_entries.begin());
    m_spare = std::exchange(node.mapped(), std::move(record));
    node.key() = order;
    m_entries.insert(std::move(node));
  }

  // Wraps after 2^31 additions, with no effect but on the order of equal keys across the wrap.
  [[nodiscard]] std::int32_t nextSequence() noexcept {
    return static_cast<std::int32_t>(m_nextSequence++);
  }

  std::int32_t m_maxToRetain;
  std::int32_t m_retained = 0;
  std::uint32_t m_nextSequence = 0;
  std::int64_t m_pendingKey = 0;
  std::int64_t m_lowestKey = std::numeric_limits<std::int64_t>::max();  // of the entries
  std::multimap<Orderer, std::unique_ptr<Record>> m_entries;
  std::unique_ptr<Record> m_spare;
};

}  // namespace orv
