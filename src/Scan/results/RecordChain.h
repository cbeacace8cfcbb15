#pragma once

#include <cstddef>
#include <memory>
#include <utility>

namespace orv {

// The owning chain of one result slot: records linked through `Record::next`, highest rank first.
// Chains have no limit (one record per owner of a filesystem), so nothing here recurses.
//
//   chain.pushFront(std::move(record));
//   for (const SFile* file = chain.head(); file != nullptr; file = file->next.get()) ...
template <typename Record>
class RecordChain final {
 public:
  RecordChain() = default;
  RecordChain(RecordChain&& other) noexcept : m_head(std::move(other.m_head)) {}
  RecordChain& operator=(RecordChain&& other) noexcept {
    if (this != &other) {
      clear();
      m_head = std::move(other.m_head);
    }
    return *this;
  }
  ~RecordChain() { clear(); }

  // Puts `record` before the present head.
  void pushFront(std::unique_ptr<Record> record) noexcept {
    record->next = std::move(m_head);
    m_head = std::move(record);
  }

  // Takes the head off; null when the chain is empty.
  [[nodiscard]] std::unique_ptr<Record> popFront() noexcept {
    std::unique_ptr<Record> front = std::move(m_head);
    if (front)
      m_head = std::move(front->next);
    return front;
  }

  void clear() noexcept {
    while (m_head)
      m_head = std::move(m_head->next);
  }

  [[nodiscard]] const Record* head() const noexcept { return m_head.get(); }
  [[nodiscard]] Record* head() noexcept { return m_head.get(); }
  [[nodiscard]] bool empty() const noexcept { return m_head == nullptr; }

  // Counts the records by walking the chain.
  [[nodiscard]] std::size_t size() const noexcept {
    std::size_t count = 0;
    for (const Record* record = head(); record != nullptr; record = record->next.get())
      ++count;
    return count;
  }

 private:
  std::unique_ptr<Record> m_head;
};

}  // namespace orv
