#include "orvctl/command/ExportOption.h"

#include <map>
#include <string>

namespace orv::ctl {

void addExportOption(CLI::App& command, ExportRequest& request) {
  static const std::map<std::string, Format> FORMATS = {{"text", Format::TEXT},
                                                        {"json", Format::JSON},
                                                        {"csv", Format::CSV},
                                                        {"html", Format::HTML},
                                                        {"prometheus", Format::PROMETHEUS}};
  // The parser has taken none but these words when it calls back.
  command
      .add_option_function<std::string>(
          "--format", [&request](const std::string& word) { request.format = FORMATS.at(word); },
          "text, json, csv, html or prometheus; text if not given")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(FORMATS));
  command
      .add_option("--output", request.output,
                  "Write there instead of to standard output; for the tables of csv a directory")
      ->type_name("FILE|DIR");
  command.add_flag("--null", request.pathsOnly,
                   "With --section files, or another that lists paths: the paths alone, each ended "
                   "by a NUL byte, as for xargs -0");
}

}  // namespace orv::ctl
