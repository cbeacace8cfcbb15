#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/accumulate/PartState.h"

// Files that pass between the walks of one tree: what a share is to walk, and the state that it
// leaves. Both are runs of records with a version, a length before each and a checksum at the end,
// so that a file that was cut or changed is known.
namespace orv::share {

// A file cannot be read or written, or is not what it should be; the text says which and why.
class StateError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a file begins with.
struct Header {
  std::string run;  // of the scan that it belongs to
  std::uint32_t share = 0;
  std::int64_t scanStart = 0;  // seconds since 1970
  std::int64_t budget = 0;     // entries
  std::string node;            // where a state was gathered
};

// A monitored directory and the mdsIDs of the specifications that name it.
struct Monitored {
  FileAttributes directory;
  std::vector<std::int32_t> specs;
};

// A directory that nobody has entered yet, and the monitored directories that it lies in or is.
struct LeftOver {
  FileAttributes directory;
  std::vector<Monitored> inside;
};

// What one profile gathered in a monitored directory, or in the filesystem. Containers stand in a
// file by ascending `order` and `profile`.
struct Container {
  std::string order;  // the directory's place, from behind; of the filesystem: behind all others
  std::uint32_t profile = 0;  // its position in the definition
  bool isDirectory = false;
  Monitored monitored;  // valid when `isDirectory`

  [[nodiscard]] bool operator<(const Container& other) const noexcept {
    return order != other.order ? order < other.order : profile < other.profile;
  }
};

// Where a user or group was met at first.
struct Met {
  bool isGroup = false;
  std::uint32_t id = 0;
  std::string place;
};

struct Trailer {
  std::int64_t entries = 0;
  std::int32_t code = 0;          // 4 when something could not be read, else 0
  std::int64_t milliseconds = 0;  // of walking
};

// One record, as it was read. Only the member of its kind is valid.
struct Record {
  enum class Kind : std::uint8_t {
    HEADER,
    CONTAINER,
    FIRST_NAME,
    ROW,
    MET,
    LEFT_OVER,
    MESSAGE,
    TRAILER
  };
  Kind kind = Kind::HEADER;
  Header header;
  Container container;
  FileAttributes name;            // FIRST_NAME; owner and group by number
  std::uint32_t accumulator = 0;  // ROW
  StateRow row;
  Met met;
  LeftOver leftOver;
  std::string message;
  Trailer trailer;
};

// Writes a file beside its name, which it gets when it is complete. Dropped without `close`, it
// leaves nothing. Throws StateError.
class StateWriter final : public CuStatAccum::StateSink {
 public:
  StateWriter(std::string path, const Header& header);
  ~StateWriter() override;

  void container(const Container& container);
  void firstName(const FileAttributes& info);
  void beginAccumulator(std::uint32_t number) override { m_accumulator = number; }
  void row(std::string_view key, std::string_view place, std::span<const std::int64_t> figures,
           const FileAttributes* entry) override;
  void met(const Met& met);
  void leftOver(const LeftOver& leftOver);
  void message(std::string_view line);
  void close(const Trailer& trailer);

  [[nodiscard]] std::uint64_t bytes() const noexcept;

 private:
  struct Output;
  std::string m_path;
  std::uint32_t m_accumulator = 0;
  std::unique_ptr<Output> m_output;
};

// Reads a file from its beginning. Throws StateError for one that cannot be read, has another
// version or belongs to another run.
class StateReader final {
 public:
  // `run` empty: of any run.
  StateReader(std::string path, const std::string& run);
  ~StateReader();
  StateReader(const StateReader&) = delete;
  StateReader& operator=(const StateReader&) = delete;

  [[nodiscard]] const Header& header() const noexcept { return m_header; }
  // The next record after the header; false behind the trailer, which is the last.
  [[nodiscard]] bool next(Record& record);

  // Reads the whole file for its checksum: throws StateError unless it is as it was written.
  static void verify(const std::string& path);

 private:
  struct Input;
  std::string m_path;
  Header m_header;
  bool m_ended = false;
  std::unique_ptr<Input> m_input;
};

// Names as plain bytes, for what is put away and read again by one process.
[[nodiscard]] std::string packed(const FileAttributes& info);
[[nodiscard]] FileAttributes unpacked(std::string_view bytes);

}  // namespace orv::share
