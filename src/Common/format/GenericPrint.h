#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace orv {

// The only output format that the job writes: brackets, the grammar of the definition file.
inline constexpr int BRACKET_FORMAT = 3;

// The result writer: owns the output stream and knows lines only; records print themselves through
// it. Owned by the driver, used on the job's thread.
//
// It fills "<path>.part", made anew whatever stands there, flushes it to the disk and renames it to
// the path in `close`, so that no reader ever sees half a result. A line that could not be written
// is reported in the trace at once and makes `close` throw: a result that lost a line is never
// delivered. A writer that is destroyed without `close` removes its ".part" file.
class GenericPrint final {
 public:
  // Creates the directory of `path` if missing and opens "<path>.part". An empty path, or a
  // directory that cannot be made, leaves the writer without a file (every operation is then
  // without effect); a file that cannot be opened throws an ORVIOException*.
  GenericPrint(const std::string& path, int format = BRACKET_FORMAT);
  ~GenericPrint();
  GenericPrint(const GenericPrint&) = delete;
  GenericPrint& operator=(const GenericPrint&) = delete;

  void printBegin(const std::string& name);
  void printBegin(const std::string& name, const std::string& qualifier);
  void printEnd(const std::string& name);

  // Field names, joined by commas, unquoted.
  void printHeaderLine(const std::vector<std::string>& names);

  // Values: quoted, inner quotes doubled, empty ones written as nothing. Line breaks become blanks
  // in a value shorter than 1,279 characters; a longer one keeps them and gets a NUL byte at index
  // 1,279 instead: deliberate, readers of the result depend on it.
  void printDataLine(const std::vector<std::string>& values);

  // Ends the output: flushes, closes and moves the file into place. Throws an ORVIOException* when
  // a write was lost or the file could not be moved; the ".part" file is then gone. A second call
  // has no effect.
  void close();

  // Drops the output: closes and removes the ".part" file.
  void discard() noexcept;

  [[nodiscard]] bool isOpen() const noexcept { return m_stream != nullptr; }

 private:
  struct StreamCloser {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
  };

  void writeLine(std::string&& line);
  void finish();
  void noteLostWrite(int error);

  std::string m_path;
  std::string m_partPath;
  std::unique_ptr<std::FILE, StreamCloser> m_stream;
  int m_lostError = 0;  // errno of the first lost write
};

}  // namespace orv
