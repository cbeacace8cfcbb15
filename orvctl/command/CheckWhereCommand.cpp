#include "orvctl/command/Commands.h"

#include <memory>
#include <string>

#include "orvctl/job/TypedInput.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {

void addCheckWhereCommand(CLI::App& app, int& exitCode) {
  auto clause = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("check-where", "Explain a where clause, or point at its error");
  command->add_option("CLAUSE", *clause, "The clause, in quotes: 'type = f & size > 1G'")
      ->required();
  command->footer(
      "Example:\n"
      "  orvctl check-where 'type = f & (size > 1G | accessed > 1y)'\n"
      "\n"
      "Exit codes:\n"
      "  0  the clause can be used      2  it cannot, for the reason on standard error");
  command->callback([clause, &exitCode] {
    writeOut(readWhereClause(*clause).explanation);
    exitCode = 0;
  });
}

}  // namespace orv::ctl
