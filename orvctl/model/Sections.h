#pragma once

#include <array>
#include <set>
#include <string>
#include <string_view>

// The parts of a report, as people name them ("--section owners,files"). The terminal report and
// the exports go by this one table.
namespace orv::ctl {

enum class Section {
  SUMMARY,
  DIRECTORIES,
  WATCHED_LIST,
  FILES,
  SIZES,
  OLD,
  AGES,
  OWNERS,
  GROUPS,
  UNUSED,
  ORPHANS,
  TYPES,
  DIRECT,
  WATCHED,
  WARNINGS
};

struct SectionName {
  Section section;
  std::string_view name;
  std::string_view holds;
  bool always;  // part of a report that asks for no sections
};

// In the order of the report.
// clang-format off
inline constexpr std::array<SectionName, 15> SECTIONS = {{
    {Section::SUMMARY,      "summary",     "the first screen: totals and the largest directories", true},
    {Section::DIRECTORIES,  "directories", "directories with all that is below them, the largest first", false},
    {Section::WATCHED_LIST, "watch",       "the watched directories in one table", true},
    {Section::FILES,        "files",       "the largest files", true},
    {Section::SIZES,        "sizes",       "entries by size", true},
    {Section::OLD,          "old",         "owners and groups by what they have not used for long", true},
    {Section::AGES,         "ages",        "entries by last access and last modification", true},
    {Section::OWNERS,       "owners",      "totals per owner", true},
    {Section::GROUPS,       "groups",      "totals per group", true},
    {Section::UNUSED,       "unused",      "the least recently accessed files", true},
    {Section::ORPHANS,      "orphans",     "files whose owner does not exist", true},
    {Section::TYPES,        "types",       "file types", true},
    {Section::DIRECT,       "direct",      "directories by what lies directly in them", true},
    {Section::WATCHED,      "watched",     "every statistic of each watched directory", false},
    {Section::WARNINGS,     "warnings",    "what the scan warned of", true},
}};
// clang-format on

// The sections of a list of names, "owners,files". Throws CtlError with EXIT_USAGE for a name that
// no section has.
[[nodiscard]] std::set<Section> parseSections(std::string_view names);

// A line per section: its name and what it holds.
[[nodiscard]] std::string sectionHelp();

}  // namespace orv::ctl
