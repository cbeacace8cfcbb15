#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace orv::ctl {

// Prints help texts that fit 80 columns: options to the left, their descriptions wrapped to the
// right. An option shows its own name for its value, not its type and checks. Footers (examples,
// exit codes) are printed as they stand.
class HelpFormatter final : public CLI::Formatter {
 public:
  [[nodiscard]] std::string make_description(const CLI::App* app) const override;
  [[nodiscard]] std::string make_option(const CLI::Option* option,
                                        bool isPositional) const override;
  [[nodiscard]] std::string make_option_opts(const CLI::Option* option) const override;
  [[nodiscard]] std::string make_subcommand(const CLI::App* command) const override;
};

// The one of `known` that a mistyped `word` most likely means; empty when none is near: at most a
// third of its letters are missing, wrong, too many or swapped with the next.
[[nodiscard]] std::string nearest(std::string_view word, const std::vector<std::string>& known);

}  // namespace orv::ctl
