#include "Common/format/GenericPrint.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "runtime/unx/Files.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Longest value whose line breaks are cleaned, plus one. It comes from fixed-size string routines
// that every reader of the result was built with.
constexpr std::size_t CLEANING_LIMIT = 1279;

void cleanLineBreaks(std::string& value) {
  if (value.size() >= CLEANING_LIMIT) {
    if (value.size() > CLEANING_LIMIT)
      value[CLEANING_LIMIT] = '\0';
    return;
  }
  std::replace(value.begin(), value.end(), '\n', ' ');
  std::replace(value.begin(), value.end(), '\r', ' ');
}

void appendQuoted(std::string& line, std::string value) {
  // Nothing between the commas, not even quotes: so readers know a value that is missing.
  if (value.empty())
    return;
  cleanLineBreaks(value);
  line += '"';
  for (const char c : value) {
    // A quote is doubled: readers split at commas that are not between quotes.
    if (c == '"')
      line += '"';
    line += c;
  }
  line += '"';
}

}  // namespace

GenericPrint::GenericPrint(const std::string& path, int format)
    : m_path(path), m_partPath(path + ".part") {
  TRACE_METHOD("GenericPrint(...)");
  TRACE(TR_GENERAL, "output file %s, format %d", path.c_str(), format);
  if (path.empty()) {
    TRACE(TR_MAX, "Output file-name is empty.\n");
    return;
  }
  const std::string directory = parentDirectory(path);
  if (!directory.empty() && !makePath(directory)) {
    const int error = errno;
    TRACE(TR_ERROR, "Unable to create path: %s\n", directory.c_str());
    TRACE(TR_ERROR, "create directory %s: %s", directory.c_str(), errnoText(error).c_str());
    return;
  }
  // Beside its final name, on the same filesystem: it gets that in one step, and nobody reads half
  // a result.
  UniqueFd fd = createFile(m_partPath);
  m_stream.reset(fd ? ::fdopen(fd.get(), "wb") : nullptr);
  if (m_stream)
    (void)fd.release();
  else {
    const int error = errno;
    // Now, for there may be no memory left to say so.
    if (fd)
      ::unlink(m_partPath.c_str());
    TRACE(TR_ERROR, "Unable to open file: %s\n", m_partPath.c_str());
    throw new ORVIOException("open " + m_partPath + ": " + errnoText(error));
  }
}

GenericPrint::~GenericPrint() {
  discard();
}

void GenericPrint::printBegin(const std::string& name) {
  writeLine("[" + name + "]");
}

void GenericPrint::printBegin(const std::string& name, const std::string& qualifier) {
  writeLine("[" + name + "," + qualifier + "]");
}

void GenericPrint::printEnd(const std::string& name) {
  writeLine("[/" + name + "]");
}

void GenericPrint::printHeaderLine(const std::vector<std::string>& names) {
  std::string line;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0)
      line += ',';
    line += names[i];
  }
  writeLine(std::move(line));
}

void GenericPrint::printDataLine(const std::vector<std::string>& values) {
  std::string line;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0)
      line += ',';
    appendQuoted(line, values[i]);
  }
  writeLine(std::move(line));
}

void GenericPrint::writeLine(std::string&& line) {
  if (!m_stream)
    return;
  line += '\n';
  if (std::fwrite(line.data(), 1, line.size(), m_stream.get()) == line.size())
    return;
  noteLostWrite(errno);
  // What follows may still fit, but a lost line means no result; the code is settled when the file
  // is closed.
  std::clearerr(m_stream.get());
}

void GenericPrint::finish() {
  // On the disk before it gets its name: a result that is found after a crash is whole.
  if (std::fflush(m_stream.get()) != 0 || ::fsync(::fileno(m_stream.get())) != 0)
    noteLostWrite(errno);
  // Network filesystems report a full disk or quota only when the file is closed.
  if (std::fclose(m_stream.release()) != 0)
    noteLostWrite(errno);
}

void GenericPrint::noteLostWrite(int error) {
  // The first error is the cause; those behind it mostly follow from it.
  if (m_lostError == 0)
    m_lostError = error;
  TRACE(TR_ERROR, "ERROR: writing data to file failed");
}

void GenericPrint::close() {
  TRACE_METHOD("close()");
  if (!m_stream)
    return;
  finish();
  std::string failure;
  if (m_lostError != 0)
    failure = "write " + m_partPath + ": " + errnoText(m_lostError);
  else if (std::rename(m_partPath.c_str(), m_path.c_str()) != 0)
    failure = "rename " + m_partPath + " to " + m_path + ": " + errnoText(errno);
  if (failure.empty())
    return;
  // Half a result is none: nothing of it may be found.
  ::unlink(m_partPath.c_str());
  throw new ORVIOException(failure);
}

void GenericPrint::discard() noexcept {
  if (!m_stream)
    return;
  // Closed before it is removed: some network filesystems keep what is open under another name.
  m_stream.reset();
  ::unlink(m_partPath.c_str());
}

}  // namespace orv
