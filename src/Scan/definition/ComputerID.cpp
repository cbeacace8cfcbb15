#include "Scan/definition/ComputerID.h"

#include <unistd.h>

#include <cerrno>
#include <memory>

#include "Common/format/FieldTable.h"
#include "Common/format/ParserAPI.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr int UNREADABLE_IDENTITY = 31;

}  // namespace

void ComputerID::load(const std::string& installLocation) {
  TRACE_METHOD("load(...)");
  cachedCID.reset();
  const std::string file = installLocation + "/config/computerid.dat";
  // An agent without one is in order; only a file that is there and cannot be read is a fault.
  if (::access(file.c_str(), F_OK) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
    TRACE(TR_GENERAL, "no file %s: this computer has no identifier", file.c_str());
    return;
  }
  try {
    cachedCID = ComputerID(file).computerID();
    TRACE(TR_GENERAL, "the identifier of this computer is %d", *cachedCID);
  } catch (const ORVParserException& failure) {
    TRACE(TR_ERROR, "ERROR: %s, code %d: this computer has no identifier", failure.message.c_str(),
          failure.code);
  }
}

ComputerID::ComputerID(const std::string& file) {
  parseData(file);
}

void ComputerID::parseData(const std::string& file) {
  TRACE_METHOD("parseData(...)");
  std::string reason = "it gives no computerID";
  try {
    ParserAPI reader(file);
    if (loadData(reader))
      return;
  } catch (const ORVParserException& failure) {
    reason = formatText("reading it failed with code %d", failure.code);
    TRACE(TR_ERROR, "%s", failure.message.c_str());
  }
  const std::string text = "Unable to parse datafile.\n";
  TRACE(TR_ERROR, "%s", text.c_str());
  issueMessage(msg::GEN7001E, {text.substr(0, text.size() - 1) + " " + file + ": " + reason + "."});
  throw ORVParserException(UNREADABLE_IDENTITY, text);
}

bool ComputerID::loadData(ParserAPI& reader) {
  TRACE_METHOD("loadData(...)");
  bool isFound = false;
  std::unique_ptr<ParserAPI::Entity> entity(reader.findNextEntity(nullptr));
  for (; entity; entity.reset(reader.findNextEntity(entity.get()))) {
    if (entity->name != ENTITY_NAME)
      continue;
    const HeaderArray header = reader.getEntityHeader(entity->name);
    for (const std::vector<std::string>& values : reader.getEntityData(entity.get())) {
      if (header.size() != values.size()) {
        TRACE(TR_ERROR, "The number of primitives (%zu) and values (%zu) do not match.\n",
              header.size(), values.size());
        return false;
      }
      isFound |= takeValues(header, values);
    }
  }
  return isFound;
}

bool ComputerID::takeValues(const HeaderArray& header, const std::vector<std::string>& values) {
  bool isFound = false;
  for (std::size_t column = 0; column < header.size(); ++column) {
    if (header[column] != "computerID") {
      TRACE(TR_MAX, "Undefined header: %s found.\n", header[column].c_str());
      continue;
    }
    m_computerID = static_cast<std::int32_t>(parseInteger(values[column]));
    isFound = true;
  }
  return isFound;
}

}  // namespace orv
