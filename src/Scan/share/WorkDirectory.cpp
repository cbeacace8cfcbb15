#include "Scan/share/WorkDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <filesystem>
#include <fstream>
#include <optional>

#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

constexpr std::array<const char*, 9> FOLDERS = {"shares", "states", "accepted", "merged", "orders",
                                                "ready",  "tmp",    "logs",     "nls"};

// The number that the whole text is.
std::optional<std::uint32_t> wholeNumber(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size())
    return std::nullopt;
  return number;
}

}  // namespace

WorkDirectory::WorkDirectory(std::string path) : m_path(std::move(path)) {}

void WorkDirectory::prepare() const {
  struct stat info {};
  std::string reason;
  if (::lstat(m_path.c_str(), &info) != 0)
    reason = errnoText(errno);
  else if (!S_ISDIR(info.st_mode))
    reason = "it is no directory";
  else if (info.st_uid != ::geteuid() || (info.st_mode & 077) != 0)
    // Whoever may write there may forge states.
    reason = "it must belong to the scan's user and be closed to others (mode 0700)";
  if (!reason.empty())
    throw StateError("use work directory " + m_path + ": " + reason);
  for (const char* folder : FOLDERS)
    if (::mkdir((m_path + "/" + folder).c_str(), 0700) != 0 && errno != EEXIST)
      throw StateError("create " + m_path + "/" + folder + ": " + errnoText(errno));
}

std::string WorkDirectory::file(const char* folder, std::uint32_t number) const {
  return formatText("%s/%s/%08u", m_path.c_str(), folder, number);
}

std::string WorkDirectory::share(std::uint32_t number) const {
  return file("shares", number);
}
std::string WorkDirectory::state(std::uint32_t number) const {
  return file("states", number);
}
std::string WorkDirectory::accepted(std::uint32_t number) const {
  return file("accepted", number);
}
std::string WorkDirectory::merged(std::uint32_t number) const {
  return file("merged", number);
}
std::string WorkDirectory::order(std::uint32_t worker) const {
  return file("orders", worker);
}
std::string WorkDirectory::ready(std::uint32_t worker) const {
  return file("ready", worker);
}
std::string WorkDirectory::log(const std::string& name) const {
  return m_path + "/logs/" + name + ".log";
}

std::string WorkDirectory::lastWords(const std::string& name) const {
  std::ifstream in(log(name));
  std::string last;
  std::string ended;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("slurmstepd"))
      ended = line;
    if (!line.empty())
      last = line;
  }
  // Why Slurm ended it tells more than what it said when it was ended.
  return ended.empty() ? last : ended;
}

// By opening the folder: over a network filesystem that asks the server what is new in it, where
// the look for a single name may be answered by what was so half a minute ago.
std::vector<std::uint32_t> WorkDirectory::numbers(const char* folder) const {
  std::vector<std::uint32_t> numbers;
  std::error_code error;
  std::filesystem::directory_iterator at(m_path + "/" + folder, error);
  for (; !error && at != std::filesystem::directory_iterator(); at.increment(error))
    // Names that are no numbers are temporary files of a write that did not end.
    if (const auto number = wholeNumber(at->path().filename().native()))
      numbers.push_back(*number);
  if (error)
    throw StateError("list " + m_path + "/" + folder + ": " + error.message());
  std::ranges::sort(numbers);
  return numbers;
}

void writeShare(const std::string& path, const Share& share) {
  StateWriter writer(path, share.header);
  for (const LeftOver& root : share.roots)
    writer.leftOver(root);
  writer.close({});
}

Share readShare(const std::string& path, const std::string& run) {
  StateReader::verify(path);
  StateReader reader(path, run);
  Share share;
  share.header = reader.header();
  Record record;
  while (reader.next(record))
    if (record.kind == Record::Kind::LEFT_OVER)
      share.roots.push_back(std::move(record.leftOver));
  return share;
}

std::uint32_t numberOf(std::string_view text) {
  // The whole text: by the start of "12a" a share would be walked that nobody meant.
  if (const auto number = wholeNumber(text))
    return *number;
  throw StateError("no number of a share or worker: " + std::string(text));
}

std::string nodeName() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "unknown";
}

}  // namespace orv::share
