#include "orvctl/command/Settings.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "orvctl/job/Places.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

class SettingsFile final {
 public:
  explicit SettingsFile(std::string file) : m_file(std::move(file)) {}

  // Sets every option of the commands being run that has no value yet.
  void apply(CLI::App& app) const {
    for (const CLI::ConfigItem& item : read()) {
      // Begin and end of a section.
      if (item.name == "++" || item.name == "--")
        continue;
      const bool isKnown = item.parents.empty() ? applyToAll(app, item) : applyTo(app, item);
      if (!isKnown)
        refuse(item, "there is no such option");
    }
  }

 private:
  [[noreturn]] void refuse(const CLI::ConfigItem& item, const std::string& why) const {
    throw CtlError(fmt::format("cannot use settings {}: {}: {}", printable(m_file),
                               printable(item.fullname()), printable(why)),
                   EXIT_USAGE);
  }

  [[nodiscard]] std::vector<CLI::ConfigItem> read() const {
    try {
      return CLI::ConfigTOML().from_file(m_file);
    } catch (const CLI::Error& error) {
      throw CtlError(fmt::format("cannot read settings {}: {}", printable(m_file), error.what()),
                     EXIT_USAGE);
    }
  }

  // A key of a section: [history.add] stands for the command "history add".
  bool applyTo(CLI::App& app, const CLI::ConfigItem& item) const {
    CLI::App* command = &app;
    for (const std::string& name : item.parents) {
      const auto named = command->get_subcommands(
          [&name](const CLI::App* candidate) { return candidate->get_name() == name; });
      if (named.empty())
        return false;
      command = named.front();
    }
    return applyToOne(*command, item);
  }

  bool applyToAll(CLI::App& command, const CLI::ConfigItem& item) const {
    bool isKnown = applyToOne(command, item);
    for (CLI::App* below : command.get_subcommands([](const CLI::App*) { return true; }))
      isKnown = applyToAll(*below, item) || isKnown;
    return isKnown;
  }

  bool applyToOne(CLI::App& command, const CLI::ConfigItem& item) const {
    CLI::Option* option = command.get_option_no_throw("--" + item.name);
    if (option == nullptr || !option->get_configurable())
      return false;
    if (!command.parsed() || !option->empty())
      return true;
    try {
      if (option->get_expected_min() == 0)
        option->add_result(option->get_flag_value(item.name, CLI::ConfigBase().to_flag(item)));
      else
        option->add_result(item.inputs);
      option->run_callback();
    } catch (const CLI::Error& error) {
      refuse(item, error.what());
    }
    return true;
  }

  std::string m_file;
};

// Whether a file that need not be there is to be read. One that the administrator keeps from this
// user does not keep the user from working.
bool isToBeRead(const std::string& file) {
  if (::access(file.c_str(), R_OK) == 0)
    return true;
  if (errno != ENOENT && errno != ENOTDIR)
    writeError(fmt::format("orvctl: the settings of {} are left out: {}\n", printable(file),
                           errnoText(errno)));
  return false;
}

void applySettings(CLI::App& app, const std::string& named) {
  if (!named.empty()) {
    SettingsFile(named).apply(app);
    return;
  }
  for (const std::string& file : settingsFiles())
    if (isToBeRead(file))
      SettingsFile(file).apply(app);
}

}  // namespace

void addSettings(CLI::App& app) {
  auto named = std::make_shared<std::string>();
  app.add_option("--config", *named, "Take settings from this file alone")
      ->type_name("FILE")
      ->envname("ORV_CONFIG")
      ->configurable(false);
  // Everything else has its value by now, and no command runs yet.
  app.parse_complete_callback([&app, named] {
    if (!app.got_subcommand("help"))
      applySettings(app, *named);
  });
}

}  // namespace orv::ctl
