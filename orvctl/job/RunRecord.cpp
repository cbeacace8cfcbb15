#include "orvctl/job/RunRecord.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>

#include "orvctl/text/CtlError.h"
#include "orvctl/text/Utf8.h"
#include "runtime/unx/AtomicFile.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

using nlohmann::json;

template <typename Value>
void writeIfThere(json& record, const char* name, const std::optional<Value>& value) {
  if (value)
    record[name] = *value;
}

template <typename Value>
void readIfThere(const json& record, const char* name, std::optional<Value>& value) {
  if (record.contains(name))
    value = record.at(name).get<Value>();
}

}  // namespace

void RunRecord::write(const std::string& file) const {
  json examined = json::array();
  for (const RootFacts& root : roots)
    examined.push_back(json::parse(RootFacts::toJson(root)));
  json record = {{"host", utf8Text(host)},   {"pid", pid},         {"started", started},
                 {"where", utf8Text(where)}, {"timeout", timeout}, {"roots", examined}};
  writeIfThere(record, "ended", ended);
  writeIfThere(record, "code", code);
  writeIfThere(record, "entries", entries);
  writeIfThere(record, "bytes", bytes);
  if (!replaceFile(file, fmt::format("{}.{}", file, ::getpid()), record.dump(2) + "\n"))
    throw CtlError(
        fmt::format("cannot write {}: {}", withoutControlCharacters(file), errnoText(errno)));
}

std::optional<RunRecord> RunRecord::read(const std::string& file) {
  const auto text = readWholeFile(file);
  if (!text)
    return std::nullopt;
  try {
    const json record = json::parse(*text);
    RunRecord run;
    run.host = bytesOf(record.at("host").get<std::string>());
    record.at("pid").get_to(run.pid);
    record.at("started").get_to(run.started);
    run.where = bytesOf(record.at("where").get<std::string>());
    record.at("timeout").get_to(run.timeout);
    for (const json& root : record.at("roots"))
      run.roots.push_back(RootFacts::fromJson(root.dump()));
    readIfThere(record, "ended", run.ended);
    readIfThere(record, "code", run.code);
    readIfThere(record, "entries", run.entries);
    readIfThere(record, "bytes", run.bytes);
    return run;
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

std::string recordOfResult(const std::string& result) {
  const std::string base = result.ends_with(".dat") ? result.substr(0, result.size() - 4) : result;
  return base + RECORD_ENDING;
}

}  // namespace orv::ctl
