#include "orvctl/command/HelpFormatter.h"

#include <string_view>

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

}  // namespace orv::ctl
