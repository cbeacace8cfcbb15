#pragma once

namespace orv {

// Element of an intrusive singly linked list.
//
//   for (ListElement* e = head; e != nullptr; e = e->next) ...
//   element->next = head; head = element;                       push at the head
//
// The link serves the one list that the element's owner keeps; it owns nothing. Owners delete their
// elements explicitly. The object name is the concrete class's name, used in trace lines.
class ListElement {
 public:
  explicit ListElement(const char* objectName) noexcept : m_objectName(objectName) {}
  virtual ~ListElement() = default;
  ListElement(const ListElement&) = delete;
  ListElement& operator=(const ListElement&) = delete;

  [[nodiscard]] const char* objectName() const noexcept { return m_objectName; }

  ListElement* next = nullptr;

 private:
  const char* m_objectName;
};

}  // namespace orv
