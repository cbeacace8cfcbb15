#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "orvctl/model/Model.h"

// A scan as JSON, as docs/scan.schema.json describes it: names in snake_case, bytes and counts as
// integers, times in RFC 3339 UTC, null for what the result does not tell.
namespace orv::ctl {

// Null where there is none.
template <typename Value>
[[nodiscard]] nlohmann::ordered_json orNull(const std::optional<Value>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

// One member per item, each as `make` says.
template <typename List, typename Make>
[[nodiscard]] nlohmann::ordered_json listOf(const List& list, Make make) {
  nlohmann::ordered_json array = nlohmann::ordered_json::array();
  for (const auto& item : list)
    array.push_back(make(item));
  return array;
}

[[nodiscard]] nlohmann::ordered_json jsonOf(const Scan& scan);

// Parts of it, for those that show a choice: a profile, a run, and of a root what is
// neither in its profiles nor in its subtrees.
[[nodiscard]] nlohmann::ordered_json jsonOf(const Profile& profile);
[[nodiscard]] nlohmann::ordered_json factsOf(const Root& root);
[[nodiscard]] nlohmann::ordered_json jsonOf(const std::optional<Run>& run);

// One object on one line, so that the scans of a fleet can be collected in one file.
[[nodiscard]] std::string renderJson(const Scan& scan);

}  // namespace orv::ctl
