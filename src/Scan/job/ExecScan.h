#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Common/CmdArgs.h"
#include "Probe/Filesystem.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/unx/Files.h"

namespace orv {

class AgentScan;
class FilesystemScan;
class GenericPrint;
class Notification;

// The driver of the scan job: from the command line to the return code. Owns everything that lives
// as long as the job. Made by `main`, run once, on the job's thread.
//
// Return codes: 0 success; 4 some parts could not be scanned; 8 the scan could not be done, failed
// or was stopped; 9 the result could not be written; 12 nothing to scan; 2, 3, 6 invalid command
// line; 30 no trace; 72 no install location or catalog; 12, 13, 17, 321, 325 unusable definition.
class ExecScan final {
 public:
  ExecScan();
  ~ExecScan();
  ExecScan(const ExecScan&) = delete;
  ExecScan& operator=(const ExecScan&) = delete;

  // Runs the job; the process's exit status is the low byte of the result. Nothing is thrown.
  [[nodiscard]] int run(int argc, const char* const* argv) noexcept;

 private:
  template <typename Stage>
  void attempt(const char* doing, Stage stage) noexcept;
  void noteFailure(const char* doing, const char* reason) noexcept;
  void raise(int rc) noexcept;

  void begin(int argc, const char* const* argv);
  void openCatalog();
  void parseCommandLine();
  void openTrace();
  void start();
  void reportStatus() noexcept;

  void readDefinition();
  void refuseDefinition(int code, const std::string& reason);

  void scanAll();
  void scanFilesystems();
  void dropOutput() noexcept;
  void lock();
  void unlock() noexcept;
  void unlockFilesystem(const Filesystem& filesystem) const;
  void logFilesystemList() const;
  [[nodiscard]] std::string resourceName(const Filesystem& filesystem) const;
  void raiseForLostMessages();

  void settleResult();
  void reportDelivery() const noexcept;
  void notify();
  void notifyOfFailedStart() const;
  void removeDefinition() const;
  void cleanUp() noexcept;

  int m_rc = 0;
  bool m_catalogOpened = false;
  bool m_traceOpened = false;
  bool m_isParsed = false;  // the command line, without a fault
  bool m_statusReported = false;
  bool m_isStarted = false;       // the agent was told so and waits for the notification
  bool m_definitionRead = false;  // all of it
  bool m_jobFileMade = false;
  bool m_scanRan = false;
  std::string m_installLocation;
  std::string m_startStamp;  // decimal seconds since 1970
  // The job's files, named when it starts, so that its end needs no memory for them.
  std::string m_definition;
  std::string m_output;
  std::string m_jobInfo;
  std::optional<FileIdentity> m_earlierResult;  // what the job found under its result's name

  std::unique_ptr<CmdArgs> m_args;
  MessageCatalog m_catalog;
  std::unique_ptr<MessageLog> m_messageLog;
  std::unique_ptr<Notification> m_notification;
  std::unique_ptr<AgentScan> m_agentScan;
  std::unique_ptr<FilesystemScan> m_filesystemScan;
  std::unique_ptr<GenericPrint> m_print;
};

}  // namespace orv
