#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Scan/results/RecordChain.h"
#include "runtime/ut/Trace.h"

namespace orv {

// The ranking key of one retained entry: by value, among equal values in the order of arrival, or,
// for entries that have places, in the order in which one walk meets them.
struct Orderer {
  std::int64_t value;
  std::int32_t sequence;
  std::string_view place = {};  // points into the record; empty without one

  friend bool operator<(const Orderer& a, const Orderer& b) noexcept {
    if (a.value != b.value)
      return a.value < b.value;
    return a.place != b.place ? a.place < b.place : a.sequence < b.sequence;
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
//
// Records with places (those of parts of a tree) may come in any order and are ranked as if they
// had come in that of their places. Which of equal keys are kept then shows at the end only; until
// then up to three times as many are held. All records of a ranking have places, or none has.
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
    if (place.empty() || m_maxToRetain <= 0)
      return m_retained < m_maxToRetain || key > m_lowestKey;
    return !m_isBounded || key > m_boundKey || (key == m_boundKey && place < m_boundPlace);
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
    if (!order.place.empty()) {
      m_entries.emplace(order, std::move(record));
      m_isPlaced = true;
      if (m_entries.size() > HELD_TIMES * room())
        prune();
      return;
    }
    if (m_retained < m_maxToRetain) {
      m_entries.emplace(order, std::move(record));
      ++m_retained;
    } else {
      replaceLowest(order, std::move(record));
    }
    m_lowestKey = m_entries.begin()->first.value;
  }

  // Shows every record that is held, in no order that means anything.
  template <typename Show>
  void forEach(Show show) {
    prune();
    for (const auto& [order, record] : m_entries)
      show(*record);
  }

  // Empties the ranking into a chain, highest rank first; `complete` sees every record. Among equal
  // keys what came, or what one walk meets, later comes first.
  template <typename Complete>
  [[nodiscard]] RecordChain<Record> takeChain(Complete complete) {
    prune();
    // What one walk would have evicted for the higher keys behind it: the earliest of the lowest.
    while (m_entries.size() > room())
      m_entries.erase(m_entries.begin());
    RecordChain<Record> chain;
    for (auto& [order, record] : m_entries) {
      complete(*record);
      chain.pushFront(std::move(record));
    }
    m_entries.clear();
    m_retained = 0;
    return chain;
  }

 private:
  // How many times as many records with places are held as retained: the more, the less often they
  // are looked through.
  static constexpr std::size_t HELD_TIMES = 3;

  [[nodiscard]] std::size_t room() const noexcept {
    return static_cast<std::size_t>(m_maxToRetain);
  }

  // Drops the records with places that no further one can bring into the ranking. With K for the
  // lowest of the N highest keys: one walk takes every higher key, and of K what is among the first
  // N of K and above; these it drops again, from the first on, for higher keys that come later.
  void prune() {
    if (!m_isPlaced || m_entries.size() <= room())
      return;
    m_boundKey = std::prev(m_entries.end(), m_maxToRetain)->first.value;
    const auto first = m_entries.lower_bound({m_boundKey, 0, {}});
    m_entries.erase(m_entries.begin(), first);
    std::vector<std::string_view> places;
    for (const auto& [order, record] : m_entries)
      places.push_back(order.place);
    const auto last = places.begin() + (m_maxToRetain - 1);
    std::nth_element(places.begin(), last, places.end());
    m_boundPlace = *last;
    std::erase_if(m_entries, [this](const auto& entry) {
      return entry.first.value == m_boundKey && entry.first.place > m_boundPlace;
    });
    m_isBounded = true;
  }

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
  bool m_isPlaced = false;
  bool m_isBounded = false;     // records with places: whether the bound below is set
  std::int64_t m_boundKey = 0;  // lower keys, and this one from the place on, come too late
  std::string m_boundPlace;
  std::multimap<Orderer, std::unique_ptr<Record>> m_entries;
  std::unique_ptr<Record> m_spare;
};

}  // namespace orv
