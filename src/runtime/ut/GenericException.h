#pragma once

#include <string>
#include <utility>
#include <vector>

#include "runtime/nls/MessageLog.h"

namespace orv {

// A failure that carries the message to log for it. Thrown by pointer; its catcher deletes it.
class GenericException final {
 public:
  GenericException(const Message& message, std::vector<Insert> inserts)
      : m_message(message), m_inserts(std::move(inserts)) {}

  [[nodiscard]] int number() const noexcept { return m_message.number; }
  [[nodiscard]] const char* id() const noexcept { return m_message.id; }
  [[nodiscard]] const Message& message() const noexcept { return m_message; }
  [[nodiscard]] const std::vector<Insert>& inserts() const noexcept { return m_inserts; }

  // The first insert, which names what failed; empty without inserts.
  [[nodiscard]] std::string subject() const {
    return m_inserts.empty() ? std::string() : m_inserts.front().text();
  }

 private:
  Message m_message;
  std::vector<Insert> m_inserts;
};

}  // namespace orv
