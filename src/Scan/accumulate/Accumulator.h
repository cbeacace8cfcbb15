#pragma once

#include <cstdint>
#include <limits>

#include "runtime/ut/Trace.h"

namespace orv {

class Scanner;
struct CuStatResults;
struct FileAttributes;
struct StateRow;
class RowSink;

class Accumulator;

// Element of an intrusive singly linked list.
//
//   for (ListElement* e = head; e != nullptr; e = e->next) ...
//   element->next = head; head = element;                       push at the head
//
// The link serves the one list that the element's owner keeps; it owns nothing. Owners delete their
// elements explicitly. The object name is the concrete class's name, used in trace lines and by the
// owner, which deletes only what it made.
class ListElement {
 public:
  explicit ListElement(const char* objectName) noexcept : m_objectName(objectName) {}
  virtual ~ListElement() = default;
  ListElement(const ListElement&) = delete;
  ListElement& operator=(const ListElement&) = delete;

  [[nodiscard]] const char* objectName() const noexcept { return m_objectName; }
  // The element as an accumulator; null for one of another kind. Asked per entry and element: a
  // load, where a cast would search the class tree.
  [[nodiscard]] Accumulator* accumulator() const noexcept { return m_accumulator; }

  ListElement* next = nullptr;

 protected:
  ListElement(const char* objectName, Accumulator* self) noexcept
      : m_objectName(objectName), m_accumulator(self) {}

 private:
  const char* m_objectName;
  Accumulator* m_accumulator = nullptr;
};

// One statistic of one profile on one tree. Owned by its CuStatAccum, used on the scanning thread.
// An accumulator does no input or output and keeps no reference to the entry it is shown.
class Accumulator : public ListElement {
 public:
  explicit Accumulator(const char* objectName) noexcept : ListElement(objectName, this) {}

  // Looks at one entry. A missing argument is traced and nothing is counted.
  virtual void accumulate(Scanner* pScanner, FileAttributes* pInfo) = 0;

  // The tree is done: completes the result and hangs it into `results`, which owns it from then on.
  virtual void finish(CuStatResults* results) = 0;

  // What was gathered of a part of the tree, as rows, instead of `finish`.
  virtual void save(RowSink& sink) const = 0;
  // Adds such a row, so that the order in which parts come makes no difference.
  virtual void absorb(Scanner& scanner, const StateRow& row) = 0;

 protected:
  // Whether both arguments of `accumulate` are there; a missing one is traced.
  [[nodiscard]] static bool areGiven(const Scanner* pScanner, const FileAttributes* pInfo) {
    if (pScanner != nullptr && pInfo != nullptr) [[likely]]
      return true;
    TRACE(TR_MAX,
          "ERROR: At least one of the parameters <pScanner>, <pInfo> is NULL. Leaving method.");
    return false;
  }
};

// Adds `value` to `sum`, stopping at the ends of the 64-bit range: sparse files can claim sizes,
// and damaged inodes times, whose sum passes it.
inline void addSaturating(std::int64_t& sum, std::int64_t value) noexcept {
  if (__builtin_add_overflow(sum, value, &sum)) [[unlikely]]
    sum = value < 0 ? std::numeric_limits<std::int64_t>::min()
                    : std::numeric_limits<std::int64_t>::max();
}

}  // namespace orv
