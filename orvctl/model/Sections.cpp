#include "orvctl/model/Sections.h"

#include <fmt/format.h>

#include <algorithm>

#include "orvctl/text/CtlError.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {

std::set<Section> parseSections(std::string_view names) {
  std::set<Section> chosen;
  while (!names.empty()) {
    const std::size_t end = std::min(names.find(','), names.size());
    const std::string_view name = trimmed(names.substr(0, end), " ");
    names.remove_prefix(std::min(end + 1, names.size()));
    const auto* found = std::ranges::find(SECTIONS, name, &SectionName::name);
    if (found == SECTIONS.end())
      throw CtlError(fmt::format("there is no section {}; --section help lists them",
                                 withoutControlCharacters(name)),
                     EXIT_USAGE);
    chosen.insert(found->section);
  }
  return chosen;
}

std::string sectionHelp() {
  std::string help;
  for (const SectionName& row : SECTIONS)
    help += fmt::format("  {:<13}{}{}\n", row.name, row.holds, row.always ? "" : " (on request)");
  return help;
}

}  // namespace orv::ctl
