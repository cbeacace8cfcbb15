#include "Scan/job/ExecScan.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <exception>
#include <new>

#include "Common/JobFile.h"
#include "Common/LogManager.h"
#include "Common/LogUtil.h"
#include "Common/Notify.h"
#include "Common/format/GenericPrint.h"
#include "Common/resource.h"
#include "Common/unix/psnautil.h"
#include "Common/unix/pssignal.h"
#include "Scan/definition/AgentScan.h"
#include "Scan/definition/ComputerID.h"
#include "Scan/definition/DefinitionBuilder.h"
#include "Scan/job/FilesystemScan.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
namespace {

constexpr const char* VERSION = ORV_VERSION;
constexpr const char* CATALOG_FILE = "xrmna.cat";
constexpr const char* COMPONENT = "ORV";
constexpr const char* DATA_SECTION = "AgentScan";

constexpr int RC_NO_INSTALL_LOCATION = 72;
constexpr int RC_NO_TRACE = 30;
constexpr int RC_SCAN_FAILED = 8;
constexpr int RC_WRITE_FAILED = 9;
// Above it a job has no result: the agent would take what there is for a whole one.
constexpr int RC_LARGEST_WITH_RESULT = 7;

// A full trace of one large tree would otherwise fill the disk that the agent lives on.
constexpr int DEFAULT_TRACE_KB = 10'000;
constexpr std::size_t LIST_INDENTATION = 25;

std::string timeStamp() {
  return std::to_string(std::time(nullptr));
}

}  // namespace

ExecScan::ExecScan() = default;
ExecScan::~ExecScan() = default;

// The stages of the job. None of them keeps a later one from its duty: whatever happened, what was
// begun is ended, the agent learns of it, and no half result is left.
int ExecScan::run(int argc, const char* const* argv) noexcept {
  setUpProcess();
  attempt("start", [&] { begin(argc, argv); });
  // The agent waits for the byte: it comes also when the start fell over on the way.
  if (!m_statusReported) {
    reportStatus();
    if (m_isParsed && m_rc == RC_SCAN_FAILED)
      attempt("notify the agent", [this] { notifyOfFailedStart(); });
  }
  // A job that was not started has no files to read or remove, and nobody was told that it would
  // end.
  if (m_isStarted) {
    if (m_rc == 0)
      attempt("read its definition", [this] { readDefinition(); });
    if (m_definitionRead)
      attempt("scan", [this] { scanAll(); });
    // Also where the definition was refused: an earlier result of the run must not pass for its
    // own.
    attempt("settle its result", [this] { settleResult(); });
    attempt("notify the agent", [this] { notify(); });
    if (m_definitionRead)
      attempt("remove its definition", [this] { removeDefinition(); });
  }
  cleanUp();
  return m_rc;
}

template <typename Stage>
void ExecScan::attempt(const char* doing, Stage stage) noexcept {
  try {
    stage();
  } catch (const std::bad_alloc&) {
    noteFailure(doing, "not enough memory");
  } catch (const std::exception& error) {
    noteFailure(doing, error.what());
  } catch (...) {
    noteFailure(doing, "an unexpected failure");
  }
}

void ExecScan::noteFailure(const char* doing, const char* reason) noexcept {
  raise(RC_SCAN_FAILED);
  TRACE(TR_ERROR, "the job failed to %s: %s", doing, reason);
  try {
    issueMessage(msg::STA0557E, {doing, reason});
    if (naLog != nullptr)
      return;
  } catch (const std::exception&) {
    TRACE(TR_ERROR, "nor is there memory for its message");
  }
  std::fprintf(stderr, "scan: failed to %s: %s\n", doing, reason);
}

void ExecScan::raise(int rc) noexcept {
  m_rc = std::max(m_rc, rc);
}

void ExecScan::begin(int argc, const char* const* argv) {
  // In this order: the catalog lies where the command line says, its faults are messages of the
  // catalog, and whether there is a trace is one of its options.
  m_args = std::make_unique<CmdArgs>(argc, argv, SCAN_COMMAND_NUMBER);
  openCatalog();
  parseCommandLine();
  openTrace();
  start();
}

void ExecScan::openCatalog() {
  m_installLocation = m_args->installLocation();
  if (m_installLocation.empty() ||
      !m_catalog.open(m_installLocation + "/nls", CATALOG_FILE, COMPONENT)) {
    m_rc = RC_NO_INSTALL_LOCATION;
    return;
  }
  m_catalogOpened = true;
}

void ExecScan::parseCommandLine() {
  if (m_rc != 0)
    return;
  m_rc = m_args->parse();
  m_isParsed = m_rc == 0;
  // Now, while nothing else is open: a number that names none of the agent's descriptors must not
  // come to name one of the job's.
  m_args->statusDescriptor =
      takeAgentDescriptors(m_args->agentDescriptor, m_args->statusDescriptor);
  const std::string path =
      m_args->logname.empty() ? m_installLocation + "/log/scan.log" : m_args->logname;
  // Numbers and limits of logs come from the command line: a faulty one, half read, purges none.
  const bool ownLog = !m_args->logname.empty() || m_rc != 0;
  m_messageLog = std::make_unique<MessageLog>(
      m_catalog, std::make_unique<LogManager>(ownLog ? path : openActivityLog(*m_args, path)));
  if (m_rc != CMD_INVALID_COMMAND && m_rc != CMD_INVALID_PARAMETER)
    return;
  issueMessage(m_rc == CMD_INVALID_COMMAND ? msg::AGT0397E : msg::AGT0398E,
               {m_args->currentArgument});
  issueMessage(msg::STA0528T);
}

void ExecScan::openTrace() {
  if (m_rc != 0 || m_args->debugMode.empty())
    return;
  const std::string& file = m_args->debugfile;
  // A limit that is given without a value arrives as -1.
  const int limitKb = m_args->maxLogSize == 0 ? DEFAULT_TRACE_KB : m_args->maxLogSize / 1024;
  if (makePath(parentDirectory(file)) &&
      trace::open(file, m_args->debugMode, std::max(limitKb, 1), true))
    m_traceOpened = true;
  else
    m_rc = RC_NO_TRACE;
}

// Steps between the trace and the definition.
void ExecScan::start() {
  TRACE(TR_ENTER, "Enter: %s", "startScan(...)");
  // From here on a signal ends the job in order; before, there is nothing that it could leave
  // behind.
  installSignalHandlers();
  if (m_args->mode == CmdArgs::MODE_VERSION) {
    m_statusReported = true;
    std::printf("%s\n", VERSION);
    return;
  }
  const JobFiles files = m_args->jobFiles();
  m_definition = files.definitionFile();
  m_output = files.outputFile();
  m_jobInfo = files.jobInfoFile();
  m_startStamp = timeStamp();
  m_notification = std::make_unique<Notification>(*m_args, m_installLocation, m_startStamp);
  reportStatus();
  if (m_rc != 0)
    return;
  m_isStarted = true;
  // Before the job writes anything: later it could not be told from a result delivered meanwhile.
  m_earlierResult = identityOf(m_output);
  issueMessage(msg::AGT0146I, {m_args->jobName});
  purgeJobFiles(*m_args, m_installLocation);
  m_jobFileMade = createJobFile(m_jobInfo, m_startStamp);
}

void ExecScan::reportStatus() noexcept {
  m_statusReported = true;
  const int descriptor = m_args ? m_args->statusDescriptor : -1;
  if (descriptor < 0)
    return;
  // One byte, written once: a failure behind it reaches the agent with the notification only.
  const char status = m_rc == 0 ? '1' : '3';
  if (writeFully(descriptor, std::string_view(&status, 1)))
    TRACE(TR_GENERAL, "Successfully sent status to agent: %c", status);
  else
    TRACE(TR_ERROR, "Failed to send status to agent: %c", status);
}

// Builds the definition objects.
void ExecScan::readDefinition() {
  TRACE(TR_GENERAL, "---- initializing ParserAPI ----");
  TRACE(TR_GENERAL, "fileName = %s", m_definition.c_str());
  try {
    // Owned here: the scan works on its objects, and the locks are given back by them.
    m_agentScan = std::make_unique<AgentScan>();
    DefinitionBuilder(m_definition, *m_agentScan).build();
    m_definitionRead = true;
  } catch (const ORVParserException& exception) {
    TRACE(TR_ERROR, "ERROR: %s, occured during definition-file-parsing.",
          exception.message.c_str());
    refuseDefinition(exception.code,
                     exception.reason.empty() ? exception.message : exception.reason);
  } catch (const OrvObjectCreationException& exception) {
    TRACE(TR_ERROR, "ERROR: %s, occured during object creation from definition-file.",
          exception.message.c_str());
    refuseDefinition(exception.code, exception.message);
  }
}

void ExecScan::refuseDefinition(int code, const std::string& reason) {
  m_rc = code;
  issueMessage(msg::STA0430E, {m_definition, reason, std::to_string(code)});
}

// Locks and scans. The failures that the steps know end here, as a return code; after those of the
// locks and of writing the records of the locks stay, to be found stale by the next job.
void ExecScan::scanAll() {
  try {
    lock();
    logFilesystemList();
    scanFilesystems();
    unlock();
  } catch (GenericException* thrown) {
    const std::unique_ptr<GenericException> exception(thrown);
    TRACE(TR_ERROR, "Filesystem already in locked by another scan process: %s",
          exception->subject().c_str());
    m_rc = RC_SCAN_FAILED;
  } catch (ScanAbortException* thrown) {
    const std::unique_ptr<ScanAbortException> exception(thrown);
    TRACE(TR_ERROR, "%s", exception->message.c_str());
    dropOutput();
    unlock();
    m_rc = RC_SCAN_FAILED;
  } catch (ORVIOException* thrown) {
    const std::unique_ptr<ORVIOException> exception(thrown);
    TRACE(TR_ERROR, "%s", exception->message.c_str());
    // The log has no message for it: whoever runs the job by hand is told here.
    std::fprintf(stderr, "scan: %s\n", exception->message.c_str());
    m_rc = RC_WRITE_FAILED;
  } catch (...) {
    // Out of memory, as a rule: what the scan held makes room for what is still to do.
    m_filesystemScan.reset();
    dropOutput();
    unlock();
    throw;
  }
  TRACE(TR_GENERAL, "Returncode=: %d", m_rc);
}

// Before the locks are given back: another job may then fill a file of the same name.
void ExecScan::dropOutput() noexcept {
  if (m_print)
    m_print->discard();
}

void ExecScan::scanFilesystems() {
  ComputerID::load(m_installLocation);
  ScanOptions options = scanOptionsOfEnvironment();
  options.spread.catalog = m_installLocation + "/nls/" + CATALOG_FILE;
  m_filesystemScan = std::make_unique<FilesystemScan>(std::move(options));
  m_print = std::make_unique<GenericPrint>(m_output);
  // Now, and not after hours of scanning that nobody would see the figures of.
  if (!m_print->isOpen())
    throw new ORVIOException("create the directory of " + m_output);
  m_filesystemScan->setGenericPrint(m_print.get());
  m_filesystemScan->setUnlocker([this](const Filesystem& fs) { unlockFilesystem(fs); });
  m_agentScan->printHeader(*m_print);
  // The job's own record goes first; each filesystem follows as its walk ends.
  m_print->printBegin(DATA_SECTION);
  m_agentScan->printJob(*m_print);
  m_rc = m_filesystemScan->doScan(m_agentScan.get(), m_args->nfsTimeout);
  m_print->printEnd(DATA_SECTION);
  m_scanRan = true;
  // Before the result gets its name: whoever finds it finds the code that goes with it.
  raiseForLostMessages();
  if (m_rc > RC_LARGEST_WITH_RESULT)
    m_print->discard();
  else
    m_print->close();
}

// A result of which the log could not say all is not one without remarks.
void ExecScan::raiseForLostMessages() {
  if (!m_messageLog->hasLostWarnings())
    return;
  raise(SCAN_INCOMPLETE);
  issueMessage(msg::STA0558E);
}

std::string ExecScan::resourceName(const Filesystem& filesystem) const {
  return "scan_" + m_args->serverName + std::to_string(filesystem.fsID);
}

void ExecScan::lock() {
  TRACE_METHOD("lock(...)");
  const FilesystemList* filesystems = m_agentScan->getFilesystems();
  if (filesystems == nullptr)
    return;
  for (const auto& filesystem : *filesystems) {
    std::string reason;
    const int code =
        lockResource(m_installLocation, resourceName(*filesystem), SCAN_RESOURCE, &reason);
    if (code == RESOURCE_LOCKED)
      continue;
    // The lock file is waited for: a job that was stopped there is stopped, not locked out.
    throwIfStopped();
    // Two filesystems of one number would give back each other's lock.
    if (code == RESOURCE_ALREADY_HELD)
      reason = formatText("the job names two filesystems with the fsID %d", filesystem->fsID);
    issueMessage(msg::STA0531E, {filesystem->fsMountPoint, reason});
    throw new GenericException(msg::STA0531E, {filesystem->fsMountPoint});
  }
}

void ExecScan::unlockFilesystem(const Filesystem& filesystem) const {
  if (unlockResource(m_installLocation, resourceName(filesystem), SCAN_RESOURCE) != 0)
    TRACE(TR_ERROR, "unlock of %s failed", filesystem.fsMountPoint.c_str());
}

// A record that cannot be removed becomes stale when the process ends.
void ExecScan::unlock() noexcept {
  TRACE_METHOD("unlock(...)");
  const FilesystemList* filesystems = m_agentScan->getFilesystems();
  if (filesystems == nullptr)
    return;
  for (const auto& filesystem : *filesystems)
    try {
      unlockFilesystem(*filesystem);
    } catch (const std::exception& error) {
      TRACE(TR_ERROR, "unlock of %s failed: %s", filesystem->fsMountPoint.c_str(), error.what());
    }
}

void ExecScan::logFilesystemList() const {
  std::string list;
  if (const FilesystemList* filesystems = m_agentScan->getFilesystems())
    for (const auto& filesystem : *filesystems)
      list += "\n" + std::string(LIST_INDENTATION, ' ') +
              withoutControlCharacters(filesystem->fsMountPoint);
  issueMessage(msg::STA0532I, {Insert::lines(list)});
}

// The result of a failed job goes, and with it an earlier one of the same run. What was delivered
// after the job began is another job's and stays.
void ExecScan::settleResult() {
  if (m_rc <= RC_LARGEST_WITH_RESULT) {
    if (m_scanRan)
      reportDelivery();
    return;
  }
  dropOutput();
  if (m_earlierResult && identityOf(m_output) == m_earlierResult)
    psRemoveFile(m_output);
}

// A result that was delivered whole stays what it is, even without the memory to say so.
void ExecScan::reportDelivery() const noexcept {
  try {
    issueMessage(msg::STA0161I, {std::to_string(m_rc), m_output});
  } catch (const std::exception& error) {
    TRACE(TR_ERROR, "the delivery of %s is not in the log: %s", m_output.c_str(), error.what());
  }
}

void ExecScan::notify() {
  const std::string endStamp = timeStamp();
  // Only when the agent could not be told: it learns the outcome from the file then.
  if (m_notification->send(m_rc, endStamp) != 0 && m_jobFileMade)
    updateJobFile(m_jobInfo, m_rc, endStamp);
}

// Where a start fails in a way that it should not, the status byte may have nobody to go to.
void ExecScan::notifyOfFailedStart() const {
  const std::string stamp = timeStamp();
  (void)notifyAgent(m_rc, *m_args, m_args->installLocation(), stamp, stamp);
}

void ExecScan::removeDefinition() const {
  // A job that is traced in full keeps it, so that the very run can be repeated.
  if (!trace::isOn(TR_ENTER) && psFileExists(m_definition))
    psRemoveFile(m_definition);
}

void ExecScan::cleanUp() noexcept {
  // The log before the catalog that its texts come from, the trace last: all the others write to
  // it.
  m_args.reset();
  m_messageLog.reset();
  m_filesystemScan.reset();
  m_print.reset();
  if (m_catalogOpened)
    m_catalog.close();
  if (m_traceOpened) {
    TRACE(TR_EXIT, "Exit: %s", "startScan(...)");
    trace::close();
  }
}

}  // namespace orv
