// orvctl_documents DIRECTORY: writes what is made from the command line of orvctl, which is manual
// pages (as Markdown, man/NAME.md) and completion for shells (bash, zsh, fish).

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

#include "orvctl/command/App.h"
#include "orvctl/document/CommandTable.h"

namespace {

void write(const std::filesystem::path& file, const std::string& text) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file);
  out.exceptions(std::ios::failbit | std::ios::badbit);
  out << text << std::flush;
}

void writeDocuments(const std::filesystem::path& directory) {
  int exitCode = 0;
  const auto app = orv::ctl::makeApp(exitCode);
  const orv::ctl::CommandEntry program = orv::ctl::commandTable(*app);
  for (const auto& [page, text] : manualPages(program))
    write(directory / "man" / (page + ".md"), text);
  write(directory / "bash/orvctl", bashCompletion(program));
  write(directory / "zsh/_orvctl", zshCompletion(program));
  write(directory / "fish/orvctl.fish", fishCompletion(program));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: orvctl_documents DIRECTORY\n", stderr);
    return 2;
  }
  try {
    writeDocuments(argv[1]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orvctl_documents: write to %s: %s\n", argv[1], error.what());
    return 1;
  }
}
