#include "orvctl/job/SlurmCheck.h"

#include <fmt/format.h>

#include <vector>

#include "Scan/share/SlurmCommand.h"
#include "orvctl/text/CtlError.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

void require(std::vector<std::string> words, const std::string& otherwise) {
  share::SlurmCommand command(std::move(words));
  command.finish();
  if (!command.isDone())
    throw CtlError(fmt::format("{}: {}", otherwise, withoutControlCharacters(command.failure())));
}

}  // namespace

void requireSlurm(const std::string& partition) {
  std::vector<std::string> words = {"sbatch", "--test-only", "--ntasks=1"};
  if (!partition.empty())
    words.push_back("--partition=" + partition);
  words.emplace_back("--wrap=true");
  require(std::move(words), "cannot scan with Slurm, which would not take a task");
}

void cancelTasks(const std::string& name) {
  require({"scancel", "--name=" + name},
          fmt::format("cannot cancel the scan's tasks {} in Slurm's queue",
                      withoutControlCharacters(name)));
}

}  // namespace orv::ctl
