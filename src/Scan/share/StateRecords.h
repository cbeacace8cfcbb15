#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Scan/accumulate/PartState.h"

namespace orv::record {
class Container;
class Entry;
class Header;
class LeftOver;
class Met;
class Monitored;
class Record;
}  // namespace orv::record

// What stands in the files that pass between the walks of one tree (StateFile.h), record by record,
// and how it becomes messages and is read from them.
namespace orv::share {

// A file cannot be read or written, or is not what it should be; the text says which and why.
class StateError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The root of the scanned filesystem, by what it is known on every node.
struct RootMark {
  std::uint64_t inode = 0;
  std::int64_t magic = 0;  // of the kind of filesystem

  [[nodiscard]] bool operator==(const RootMark&) const = default;
};

// What a file begins with.
struct Header {
  std::string run;  // of the scan that it belongs to
  std::uint32_t share = 0;
  std::int64_t scanStart = 0;  // seconds since 1970
  std::int64_t budget = 0;     // entries
  std::string node;            // where a state was gathered
  RootMark root;
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

// Bytes of a directory's own that hold some ten thousand names on most filesystems. One share reads
// a directory from end to end: such a one is better begun with than met late.
constexpr std::int64_t LARGE_DIRECTORY = 1'048'576;
// The fewest bytes that a name takes there.
constexpr std::int64_t SMALLEST_NAME = 16;

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

// Fills an empty message; of a header all but the version of the file.
void fill(record::Header& message, const Header& header);
void fill(record::Container& message, const Container& container);
void fill(record::Entry& message, const FileAttributes& info);
void fill(record::Monitored& message, const Monitored& monitored);
void fill(record::Met& message, const Met& met);
void fill(record::LeftOver& message, const LeftOver& leftOver);

// Takes what a message says. False for a record that this program does not know.
[[nodiscard]] bool take(const record::Record& message, Record& record);

// Names as plain bytes, for what is put away and read again by one process.
[[nodiscard]] std::string packed(const FileAttributes& info);
[[nodiscard]] FileAttributes unpacked(std::string_view bytes);

}  // namespace orv::share
