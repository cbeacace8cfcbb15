#include "Scan/unix/SnapshotDirectory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>

#include "Common/CmdExecer.h"
#include "runtime/ut/Trace.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
namespace {

constexpr const char* SNAPSHOT_COMMAND = "/usr/lpp/kmfs/bin/kmsnapdir";
constexpr const char* DEFAULT_SNAPSHOT_DIRECTORY = ".snapshots";

// A temporary file that a command's output is captured in; removed with the object.
class CaptureFile final {
 public:
  CaptureFile() : m_fd(::mkostemp(m_name.data(), O_CLOEXEC)) {}
  ~CaptureFile() {
    if (m_fd)
      ::unlink(m_name.data());
  }
  CaptureFile(const CaptureFile&) = delete;
  CaptureFile& operator=(const CaptureFile&) = delete;
  [[nodiscard]] bool isOpen() const noexcept { return static_cast<bool>(m_fd); }
  [[nodiscard]] std::string name() const { return m_name.data(); }

 private:
  std::array<char, 20> m_name{"/tmp/orvsnap.XXXXXX"};
  UniqueFd m_fd;
};

// The mount point becomes part of a shell command: only names that mean themselves there may.
bool isPlainName(std::string_view path) {
  return std::all_of(path.begin(), path.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' ||
           c == '_' || c == '-' || c == '.';
  });
}

// The first line that the filesystem's command prints about the mount point; empty on any failure.
std::string askForSnapshotDirectory(const std::string& mountPoint) {
  if (::access(SNAPSHOT_COMMAND, X_OK) != 0 || !isPlainName(mountPoint))
    return {};
  const CaptureFile output;
  const CaptureFile errors;
  if (!output.isOpen() || !errors.isOpen())
    return {};
  const std::string command = std::string("\"") + SNAPSHOT_COMMAND + " `mount | grep [[:space:]]" +
                              mountPoint + "[[:space:]] | awk '{print $1}'` -q\"";
  CmdExecer execer({"/bin/sh", "-c", command}, output.name(), errors.name());
  if (execer.runCommand() != 0)
    return {};
  std::ifstream in(output.name());
  std::string line;
  std::getline(in, line);
  return line;
}

}  // namespace

std::string snapshotNameOf(std::string_view answer) {
  answer = answer.substr(0, answer.find('\n'));
  const auto dot = answer.find('.');
  if (dot == std::string_view::npos || dot == 0)
    return {};
  const char delimiter = answer[dot - 1];
  const std::string_view rest = answer.substr(dot);
  return std::string(rest.substr(0, rest.find(delimiter)));
}

std::string getSnapshotDirKLFS(const std::string& mountPoint) {
  TRACE_METHOD("getSnapshotDirKLFS(...)");
  std::string root = mountPoint;
  if (root.size() > 1 && root.back() == '/')
    root.pop_back();
  const std::string answered = snapshotNameOf(askForSnapshotDirectory(root));
  const std::string parent = root == "/" ? root : root + "/";
  const std::string directory = parent + (answered.empty() ? DEFAULT_SNAPSHOT_DIRECTORY : answered);
  TRACE(TR_GENERAL, "snapshot directory for fileystem %s is %s\n", root.c_str(), directory.c_str());
  return directory;
}

}  // namespace orv
