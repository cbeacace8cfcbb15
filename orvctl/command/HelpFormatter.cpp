#include "orvctl/command/HelpFormatter.h"

#include <algorithm>
#include <numeric>

namespace orv::ctl {
namespace {

constexpr std::size_t WIDTH = 80;
constexpr std::size_t INDENT = 2;
constexpr std::size_t DESCRIPTION_COLUMN = 25;

// `text` broken at blanks into lines that end before column WIDTH and begin at `column`; the first
// line is taken to stand at `used` already.
std::string wrapped(std::string_view text, std::size_t column, std::size_t used) {
  std::string out;
  if (used > column - INDENT)
    out = "\n" + std::string(column, ' ');
  else
    out = std::string(column - used, ' ');
  std::size_t at = column;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    if (at > column && at + 1 + end >= WIDTH) {
      out += "\n" + std::string(column, ' ');
      at = column;
    } else if (at > column) {
      out += ' ';
      ++at;
    }
    out += text.substr(0, end);
    at += end;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return out + "\n";
}

std::string entry(const std::string& name, const std::string& description) {
  const std::string left = std::string(INDENT, ' ') + name;
  return left + wrapped(description, DESCRIPTION_COLUMN, left.size());
}

// How many letters must be added, dropped, replaced or swapped with the next to make one word of
// the other.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before;  // rows of the table of distances between beginnings
  std::vector<std::size_t> above(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(above.begin(), above.end(), 0);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] =
          std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before = above;
    above = row;
  }
  return above.back();
}

}  // namespace

std::string HelpFormatter::make_description(const CLI::App* app) const {
  return wrapped(app->get_description(), 0, 0) + "\n";
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool isPositional) const {
  return entry(make_option_name(option, isPositional) + make_option_opts(option),
               make_option_desc(option));
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  // A positional is its own name; behind a type's name stand the checks of its value.
  if (option->get_positional() || option->get_type_size() == 0)
    return {};
  const std::string type = option->get_type_name();
  return " " + type.substr(0, type.find(':'));
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
  return entry(command->get_name(), command->get_description());
}

std::string nearest(std::string_view word, const std::vector<std::string>& known) {
  std::string best;
  std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
  for (const std::string& candidate : known)
    if (const std::size_t found = distance(word, candidate); found < least) {
      least = found;
      best = candidate;
    }
  return best;
}

}  // namespace orv::ctl
