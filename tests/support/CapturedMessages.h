#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "runtime/nls/MessageLog.h"

namespace orv::test {

// A message log that keeps its lines instead of writing them; process-wide while it lives.
class CapturedMessages final {
 public:
  CapturedMessages() {
    if (!m_catalog.open(std::string(ORV_BUILT_AGENT_DIR) + "/nls", "xrmna.cat", "ORV"))
      throw std::runtime_error("no catalog");
    m_log = std::make_unique<MessageLog>(m_catalog, std::make_unique<Writer>(lines));
  }

  // The lines of one message ID.
  [[nodiscard]] std::vector<std::string> of(const std::string& id) const {
    std::vector<std::string> found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [&id](const std::string& line) { return line.starts_with(id + " "); });
    return found;
  }

  std::vector<std::string> lines;

 private:
  class Writer final : public ActivityLogWriter {
   public:
    explicit Writer(std::vector<std::string>& lines) : m_lines(lines) {}
    int LogActivityLog(std::string_view message) override {
      m_lines.emplace_back(message);
      return 0;
    }

   private:
    std::vector<std::string>& m_lines;
  };

  MessageCatalog m_catalog;
  std::unique_ptr<MessageLog> m_log;
};

}  // namespace orv::test
