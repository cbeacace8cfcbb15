#pragma once

#include <gtest/gtest.h>

#include "orvctl/text/CtlError.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace orv::ctl::test {

using orv::test::Process;
using orv::test::readFile;
using orv::test::TempDir;
using orv::test::writeFile;

// What `call` threw, or nothing.
template <typename Call>
std::string errorOf(const Call& call) {
  try {
    (void)call();
    return {};
  } catch (const CtlError& error) {
    return error.what();
  }
}

inline bool holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// The staged orvctl with an agent directory of its own.
class OrvctlTest : public ::testing::Test {
 protected:
  Process start(std::vector<std::string> arguments, const std::string& output) const {
    arguments.insert(arguments.begin(), std::string(ORV_BUILT_AGENT_DIR) + "/bin/orvctl");
    return {arguments, {{"COLUMNS", "200"}, {"LC_ALL", "C.UTF-8"}, {"TZ", "UTC"}}, output};
  }
  // Runs orvctl to its end; what it wrote is in `text`.
  int run(const std::vector<std::string>& arguments) {
    const int code = start(arguments, directory.file("out")).wait();
    text = readFile(directory.file("out"));
    return code;
  }
  // Where the output holds that text; it must.
  std::size_t at(const std::string& expected) const {
    const std::size_t found = text.find(expected);
    EXPECT_NE(found, std::string::npos) << expected << "\nin\n" << text;
    return found;
  }
  [[nodiscard]] std::string resultFile(int run) const {
    return agent + "/output/local/orvctl.0000000" + std::to_string(run) + "_scan.0001.dat";
  }

  TempDir directory;
  std::string agent = directory.file("agent");
  std::string text;
};

}  // namespace orv::ctl::test
