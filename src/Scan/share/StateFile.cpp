#include "Scan/share/StateFile.h"

#include <fcntl.h>
#include <share.pb.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>

#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::share {
namespace {

constexpr std::uint32_t VERSION = 1;
constexpr std::size_t BUFFER = 65'536;
constexpr std::size_t CHECKSUM_BYTES = 4;
// No record is longer: a path, a message and a list of figures are all bounded far below.
constexpr std::uint64_t LONGEST_RECORD = 1U << 26;

[[noreturn]] void fail(const std::string& doing, const std::string& path, const std::string& why) {
  throw StateError(doing + " " + path + ": " + why);
}

// Entries and records. --------------------------------------------------------------------------

void fill(record::Entry& entry, const FileAttributes& info) {
  entry.set_name(info.faName);
  entry.set_place(info.faPlace);
  entry.set_type(info.faType);
  entry.set_owner(info.ownerId);
  entry.set_group(info.groupId);
  entry.set_modified(info.faModified);
  entry.set_accessed(info.faAccessed);
  entry.set_blocks(info.faBlocks);
  entry.set_length(info.faLength);
  entry.set_attributes(info.faAttributes);
  entry.set_links(info.faLinkCount);
  entry.set_inode(info.faInodeNumber);
}

void take(const record::Entry& entry, FileAttributes& info) {
  info.faName = entry.name();
  info.faPlace = entry.place();
  info.faType = static_cast<std::uint8_t>(entry.type());
  info.ownerId = entry.owner();
  info.groupId = entry.group();
  // Pointers mean nothing elsewhere: who reads the record looks its ids up again.
  info.faOwner = info.faGroup = nullptr;
  info.faModified = entry.modified();
  info.faAccessed = entry.accessed();
  info.faBlocks = entry.blocks();
  info.faLength = entry.length();
  info.faAttributes = entry.attributes();
  info.faLinkCount = entry.links();
  info.faInodeNumber = entry.inode();
}

void fill(record::Monitored& message, const Monitored& monitored) {
  fill(*message.mutable_directory(), monitored.directory);
  for (const std::int32_t spec : monitored.specs)
    message.add_specs(spec);
}

void take(const record::Monitored& message, Monitored& monitored) {
  take(message.directory(), monitored.directory);
  monitored.specs.assign(message.specs().begin(), message.specs().end());
}

void take(const record::Header& message, Header& header) {
  header = {message.run(), message.share(), message.scan_start(), message.budget(), message.node()};
}

void take(const record::Container& message, Container& container) {
  container.order = message.order();
  container.profile = message.profile();
  container.isDirectory = message.has_directory();
  if (container.isDirectory)
    take(message.directory(), container.monitored);
}

void take(const record::Row& message, Record& record) {
  record.accumulator = message.accumulator();
  record.row.key = message.key();
  record.row.place = message.place();
  record.row.figures.assign(message.figures().begin(), message.figures().end());
  record.row.hasEntry = message.has_entry();
  if (record.row.hasEntry)
    take(message.entry(), record.row.entry);
}

void take(const record::LeftOver& message, LeftOver& leftOver) {
  take(message.directory(), leftOver.directory);
  leftOver.inside.resize(static_cast<std::size_t>(message.inside_size()));
  for (int i = 0; i < message.inside_size(); ++i)
    take(message.inside(i), leftOver.inside[static_cast<std::size_t>(i)]);
}

// False for a record that this program does not know.
bool take(const record::Record& message, Record& record) {
  using Content = record::Record;
  switch (message.content_case()) {
    case Content::kHeader:
      record.kind = Record::Kind::HEADER;
      take(message.header(), record.header);
      return true;
    case Content::kContainer:
      record.kind = Record::Kind::CONTAINER;
      take(message.container(), record.container);
      return true;
    case Content::kFirstName:
      record.kind = Record::Kind::FIRST_NAME;
      take(message.first_name(), record.name);
      return true;
    case Content::kRow:
      record.kind = Record::Kind::ROW;
      take(message.row(), record);
      return true;
    case Content::kMet:
      record.kind = Record::Kind::MET;
      record.met = {message.met().is_group(), message.met().id(), message.met().place()};
      return true;
    case Content::kLeftOver:
      record.kind = Record::Kind::LEFT_OVER;
      take(message.left_over(), record.leftOver);
      return true;
    case Content::kMessage:
      record.kind = Record::Kind::MESSAGE;
      record.message = message.message();
      return true;
    case Content::kTrailer:
      record.kind = Record::Kind::TRAILER;
      record.trailer = {message.trailer().entries(), message.trailer().code(),
                        message.trailer().milliseconds()};
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string packed(const FileAttributes& info) {
  record::Entry entry;
  fill(entry, info);
  return entry.SerializeAsString();
}

FileAttributes unpacked(std::string_view bytes) {
  record::Entry entry;
  if (!entry.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
    throw StateError("read a name that was put away: it was changed");
  FileAttributes info;
  take(entry, info);
  return info;
}

// Writing. --------------------------------------------------------------------------------------

struct StateWriter::Output {
  std::string temporary;
  UniqueFd fd;
  std::string buffer;
  uLong checksum = 0;
  std::uint64_t written = 0;
  record::Record record;  // reused

  void flush() {
    checksum = ::crc32_z(checksum, reinterpret_cast<const Bytef*>(buffer.data()), buffer.size());
    if (!writeFully(fd.get(), buffer))
      fail("write", temporary, errnoText(errno));
    written += buffer.size();
    buffer.clear();
  }
  void put() {
    for (std::uint64_t length = record.ByteSizeLong();; length >>= 7) {
      buffer.push_back(static_cast<char>((length & 0x7f) | (length > 0x7f ? 0x80 : 0)));
      if (length <= 0x7f)
        break;
    }
    record.AppendPartialToString(&buffer);
    if (buffer.size() >= BUFFER)
      flush();
    record.Clear();
  }
};

// The name of the process is part of the temporary one: a share may run twice at a time.
StateWriter::StateWriter(std::string path, const Header& header)
    : m_path(std::move(path)), m_output(std::make_unique<Output>()) {
  Output& out = *m_output;
  out.temporary = formatText("%s.%s.%d.part", m_path.c_str(), header.node.c_str(), ::getpid());
  out.fd = createFile(out.temporary);
  if (!out.fd)
    fail("create", out.temporary, errnoText(errno));
  out.buffer.reserve(BUFFER + 4096);
  record::Header& message = *out.record.mutable_header();
  message.set_version(VERSION);
  message.set_run(header.run);
  message.set_share(header.share);
  message.set_scan_start(header.scanStart);
  message.set_budget(header.budget);
  message.set_node(header.node);
  out.put();
}

StateWriter::~StateWriter() {
  if (m_output)
    ::unlink(m_output->temporary.c_str());
}

void StateWriter::container(const Container& container) {
  record::Container& message = *m_output->record.mutable_container();
  message.set_order(container.order);
  message.set_profile(container.profile);
  if (container.isDirectory)
    fill(*message.mutable_directory(), container.monitored);
  m_output->put();
}

void StateWriter::firstName(const FileAttributes& info) {
  fill(*m_output->record.mutable_first_name(), info);
  m_output->put();
}

void StateWriter::row(std::string_view key, std::string_view place,
                      std::span<const std::int64_t> figures, const FileAttributes* entry) {
  record::Row& message = *m_output->record.mutable_row();
  message.set_accumulator(m_accumulator);
  message.set_key(key.data(), key.size());
  message.set_place(place.data(), place.size());
  message.mutable_figures()->Add(figures.begin(), figures.end());
  if (entry != nullptr)
    fill(*message.mutable_entry(), *entry);
  m_output->put();
}

void StateWriter::met(const Met& met) {
  record::Met& message = *m_output->record.mutable_met();
  message.set_is_group(met.isGroup);
  message.set_id(met.id);
  message.set_place(met.place);
  m_output->put();
}

void StateWriter::leftOver(const LeftOver& leftOver) {
  record::LeftOver& message = *m_output->record.mutable_left_over();
  fill(*message.mutable_directory(), leftOver.directory);
  for (const Monitored& monitored : leftOver.inside)
    fill(*message.add_inside(), monitored);
  m_output->put();
}

void StateWriter::message(std::string_view line) {
  m_output->record.set_message(line.data(), line.size());
  m_output->put();
}

void StateWriter::close(const Trailer& trailer) {
  Output& out = *m_output;
  record::Trailer& message = *out.record.mutable_trailer();
  message.set_entries(trailer.entries);
  message.set_code(trailer.code);
  message.set_milliseconds(trailer.milliseconds);
  out.put();
  out.flush();
  std::array<char, CHECKSUM_BYTES> bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(out.checksum >> (8 * i));
  // Flushed to the disk first: a name that a crash leaves must not lead to half a file.
  if (!writeFully(out.fd.get(), {bytes.data(), bytes.size()}) || ::fsync(out.fd.get()) != 0)
    fail("write", out.temporary, errnoText(errno));
  if (::rename(out.temporary.c_str(), m_path.c_str()) != 0)
    fail("rename", out.temporary, errnoText(errno));
  m_output.reset();
}

std::uint64_t StateWriter::bytes() const noexcept {
  return m_output->written + m_output->buffer.size();
}

// Reading. --------------------------------------------------------------------------------------

struct StateReader::Input {
  UniqueFd fd;
  std::string buffer;
  std::size_t at = 0;
  record::Record record;  // reused

  // Whether `count` bytes are there to be taken.
  bool have(std::size_t count, const std::string& path) {
    if (buffer.size() - at >= count)
      return true;
    buffer.erase(0, at);
    at = 0;
    while (buffer.size() < count) {
      const std::size_t old = buffer.size();
      buffer.resize(std::max(count, old + BUFFER / 4));
      const ssize_t got = ::read(fd.get(), buffer.data() + old, buffer.size() - old);
      buffer.resize(old + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
      if (got < 0 && errno != EINTR)
        fail("read", path, errnoText(errno));
      if (got == 0)
        return false;
    }
    return true;
  }
};

StateReader::StateReader(std::string path, const std::string& run)
    : m_path(std::move(path)), m_input(std::make_unique<Input>()) {
  m_input->fd = openRegularFile(m_path);
  if (!m_input->fd)
    fail("open", m_path, errnoText(errno));
  Record first;
  if (!next(first) || first.kind != Record::Kind::HEADER)
    fail("read", m_path, "it has no header");
  if (m_input->record.header().version() != VERSION)
    fail("read", m_path, "it is of another version");
  if (!run.empty() && first.header.run != run)
    fail("read", m_path, "it belongs to another run");
  m_header = first.header;
}

StateReader::~StateReader() = default;

bool StateReader::next(Record& record) {
  if (m_ended)
    return false;
  Input& in = *m_input;
  do {
    std::uint64_t length = 0;
    for (int shift = 0;; shift += 7) {
      if (shift > 28 || !in.have(1, m_path))
        fail("read", m_path, "it was cut");
      const auto byte = static_cast<unsigned char>(in.buffer[in.at++]);
      length |= static_cast<std::uint64_t>(byte & 0x7fU) << shift;
      if (byte < 0x80)
        break;
    }
    if (length > LONGEST_RECORD || !in.have(length, m_path))
      fail("read", m_path, "it was cut");
    if (!in.record.ParseFromArray(in.buffer.data() + in.at, static_cast<int>(length)))
      fail("read", m_path, "it was changed");
    in.at += length;
    // Records of a later program are passed over.
  } while (!take(in.record, record));
  m_ended = record.kind == Record::Kind::TRAILER;
  return true;
}

void StateReader::verify(const std::string& path) {
  const UniqueFd fd = openRegularFile(path);
  if (!fd)
    fail("open", path, errnoText(errno));
  uLong checksum = 0;
  std::string held;  // the last bytes so far, which may be the checksum
  std::array<char, BUFFER> buffer;
  for (;;) {
    const ssize_t got = ::read(fd.get(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      fail("read", path, errnoText(errno));
    if (got == 0)
      break;
    held.append(buffer.data(), static_cast<std::size_t>(got));
    const std::size_t body = held.size() - std::min(held.size(), CHECKSUM_BYTES);
    checksum = ::crc32_z(checksum, reinterpret_cast<const Bytef*>(held.data()), body);
    held.erase(0, body);
  }
  uLong expected = 0;
  for (std::size_t i = 0; i < held.size(); ++i)
    expected |= static_cast<uLong>(static_cast<unsigned char>(held[i])) << (8 * i);
  if (held.size() != CHECKSUM_BYTES || checksum != expected)
    fail("read", path, "its checksum is wrong: it was cut or changed");
}

}  // namespace orv::share
