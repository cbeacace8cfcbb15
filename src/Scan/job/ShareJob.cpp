#include "Scan/job/ShareJob.h"

#include <malloc.h>
#include <sys/prctl.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Common/unix/pssignal.h"
#include "Scan/definition/AgentScan.h"
#include "Scan/definition/DefinitionBuilder.h"
#include "Scan/job/FilesystemScan.h"
#include "Scan/job/ScanOptions.h"
#include "Scan/share/Worker.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/ORVException.h"

namespace orv {
namespace {

constexpr int FAILED = 8;
constexpr std::string_view SHARE = "-share";
constexpr std::string_view WORKER = "-worker";

// Puts the messages of the walk into the state, from where they come into the scan's log. Those
// before it are the scan's own, too: they are said here only, for whoever looks into a failure.
class ShareLog final : public ActivityLogWriter {
 public:
  void writeInto(share::StateWriter* writer) noexcept { m_writer = writer; }
  int LogActivityLog(std::string_view line) override {
    if (m_writer != nullptr)
      m_writer->message(line);
    std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    return 0;
  }

 private:
  share::StateWriter* m_writer = nullptr;
};

// Helpers make windows of large directories, the walk frees them: what an allocator keeps of that
// for each thread would be more than all that a share needs.
void boundMemory() noexcept {
  constexpr int MAPPED_FROM = 131'072;  // bytes
  ::mallopt(M_MMAP_THRESHOLD, MAPPED_FROM);
  ::mallopt(M_ARENA_MAX, 1);
}

void walkShare(const std::string& directory, std::uint32_t number) {
  const share::WorkDirectory work(directory);
  share::Share share = share::readShare(work.share(number), {});
  // Part of the state's temporary name: two nodes may be at one share for a while.
  share.header.node = share::nodeName();
  MessageCatalog catalog;
  if (!catalog.open(work.catalogDirectory(), "xrmna.cat", "ORV"))
    throw std::runtime_error("the message catalog cannot be opened");
  auto writer = std::make_unique<ShareLog>();
  ShareLog& log = *writer;
  const MessageLog messages(catalog, std::move(writer));
  AgentScan job;
  DefinitionBuilder(work.definition(), job).build();
  ScanOptions options = scanOptionsOfEnvironment();
  options.mountTable = work.mountTable();
  // The scan shows what all shares came to; one of them is no measure.
  options.progressFile.clear();
  FilesystemScan scan(options);
  share::StateWriter state(work.state(number), share.header);
  const int code = scan.doShare(&job, share, state, work.temporary(), [&](bool isWalking) {
    log.writeInto(isWalking ? &state : nullptr);
  });
  // Leaves the state unclosed, so that nothing of it is merged.
  if (code >= FAILED)
    throw std::runtime_error("the share cannot be walked here");
}

int runShare(const char* workDirectory, const char* number) noexcept {
  setUpProcess();
  // Before anything is allocated: what has its place already would keep it.
  boundMemory();
  // Whoever started it has others walk the share when it is gone itself.
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  installSignalHandlers();
  std::string reason;
  try {
    walkShare(workDirectory, share::numberOf(number));
    return 0;
  } catch (const std::exception& error) {
    reason = error.what();
  } catch (const ORVParserException& error) {
    reason = error.message;
  } catch (const OrvObjectCreationException& error) {
    reason = error.message;
  } catch (ScanAbortException* thrown) {
    reason = std::unique_ptr<ScanAbortException>(thrown)->message;
  } catch (...) {
    reason = "an unexpected failure";
  }
  std::fprintf(stderr, "scan: share %s of %s: %s\n", number, workDirectory, reason.c_str());
  return FAILED;
}

}  // namespace

bool isPartOfScan(int argc, char** argv) noexcept {
  return argc == 4 && (argv[1] == SHARE || argv[1] == WORKER);
}

int runPartOfScan(char** argv) noexcept {
  return argv[1] == SHARE ? runShare(argv[2], argv[3]) : share::runWorker(argv[2], argv[3]);
}

}  // namespace orv
