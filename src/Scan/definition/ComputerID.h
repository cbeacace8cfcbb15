#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Common/format/EntityToObjectMapper.h"

namespace orv {

class ParserAPI;

// The identity of this computer, as the agent keeps it in a data file of its own:
// `config/computerid.dat` under the install location, in the brackets of the definition file, with
// an entity ComputerID that has the field computerID.
class ComputerID final {
 public:
  static constexpr const char* ENTITY_NAME = "ComputerID";

  // The identifier of the running job's computer; empty when the agent keeps none. Set by `load`
  // before the scan, read on the job's thread.
  static inline std::optional<std::int32_t> cachedCID;

  // Fills `cachedCID` from the file under the install location. Without the file it is empty; so it
  // is with a broken one, which is reported.
  static void load(const std::string& installLocation);

  // Reads `file`. One that does not hold an identifier is issued as GEN7001E and throws
  // ORVParserException (code 31).
  explicit ComputerID(const std::string& file);

  [[nodiscard]] std::int32_t computerID() const noexcept { return m_computerID; }

 private:
  void parseData(const std::string& file);
  // Whether the file gives an identifier and every row fits its header.
  bool loadData(ParserAPI& reader);
  bool takeValues(const HeaderArray& header, const std::vector<std::string>& values);

  std::int32_t m_computerID = 0;
};

}  // namespace orv
