#pragma once

#include <nl_types.h>

#include <string>

namespace orv {

// The message catalog of a component, opened with catopen and closed with the object. Owned by the
// driver, read by the message log on the job's thread.
class MessageCatalog final {
 public:
  MessageCatalog() = default;
  ~MessageCatalog() { close(); }
  MessageCatalog(const MessageCatalog&) = delete;
  MessageCatalog& operator=(const MessageCatalog&) = delete;

  // Opens `<directory>/<file>` for `component` (which only the trace names). False with errno when
  // there is no such catalog.
  [[nodiscard]] bool open(const std::string& directory, const std::string& file,
                          const std::string& component);
  void close() noexcept;

  // The text of message `number` (set 1); empty when the catalog is closed or lacks it.
  [[nodiscard]] std::string text(int number) const;

 private:
  bool m_isOpen = false;
  nl_catd m_catalog{};
};

}  // namespace orv
