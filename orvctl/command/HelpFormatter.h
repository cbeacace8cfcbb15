#pragma once

#include <CLI/CLI.hpp>
#include <string>

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

}  // namespace orv::ctl
