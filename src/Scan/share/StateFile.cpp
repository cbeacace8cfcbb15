#include "Scan/share/StateFile.h"

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

// Of what the records mean: states of walks that mean different things must not be merged.
constexpr std::uint32_t VERSION = 1;
// Records are small and many: a call for each would cost more than the records.
constexpr std::size_t BUFFER = 65'536;
constexpr std::size_t CHECKSUM_BYTES = 4;
// No record is longer: a path, a message and a list of figures are all bounded far below.
constexpr std::uint64_t LONGEST_RECORD = 1U << 26;

[[noreturn]] void fail(const std::string& doing, const std::string& path, const std::string& why) {
  throw StateError(doing + " " + path + ": " + why);
}

}  // namespace

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
    // Seven bits in a byte: most records are so short that one byte tells their length.
    for (std::uint64_t length = record.ByteSizeLong();; length >>= 7) {
      buffer.push_back(static_cast<char>((length & 0x7f) | (length > 0x7f ? 0x80 : 0)));
      if (length <= 0x7f)
        break;
    }
    // No field is required, so there is nothing to check before it is written.
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
  // The record that fills the buffer comes on top: to grow for it would copy all before it.
  out.buffer.reserve(BUFFER + 4096);
  fill(*out.record.mutable_header(), header);
  out.record.mutable_header()->set_version(VERSION);
  out.put();
}

StateWriter::~StateWriter() {
  // Given up before `close`: half a state must neither be found nor take up room.
  if (m_output)
    ::unlink(m_output->temporary.c_str());
}

void StateWriter::container(const Container& container) {
  fill(*m_output->record.mutable_container(), container);
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
  fill(*m_output->record.mutable_met(), met);
  m_output->put();
}

void StateWriter::leftOver(const LeftOver& leftOver) {
  fill(*m_output->record.mutable_left_over(), leftOver);
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
  // Not through the buffer: the checksum is of all that stands before it.
  std::array<char, CHECKSUM_BYTES> bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(out.checksum >> (8 * i));
  // Closed by hand: over a network filesystem that may be what tells that the disk is full. Not
  // flushed to the disk, which would take longer than a short share: what a crash leaves of a file
  // is known by its checksum.
  if (!writeFully(out.fd.get(), {bytes.data(), bytes.size()}) || ::close(out.fd.release()) != 0)
    fail("write", out.temporary, errnoText(errno));
  // Whoever sees the name sees a whole file, so readers need no lock.
  if (::rename(out.temporary.c_str(), m_path.c_str()) != 0)
    fail("rename", out.temporary, errnoText(errno));
  m_output.reset();
}

std::uint64_t StateWriter::bytes() const noexcept {
  // What still waits in the buffer counts: it will stand in the file.
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
    // What was taken makes room: the buffer stays as small as the longest record allows.
    buffer.erase(0, at);
    at = 0;
    while (buffer.size() < count) {
      const std::size_t old = buffer.size();
      // In steps: a damaged length must not take memory that the file has no bytes for.
      buffer.resize(old + BUFFER / 4);
      const ssize_t got = ::read(fd.get(), buffer.data() + old, buffer.size() - old);
      // Also after a failure: bytes that were not read must not pass for a record.
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
  // Read at once, so that nothing of a foreign file gets to whoever asked for this one.
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
      // Five bytes hold more than any length that is allowed: a sixth belongs to no length.
      if (shift > 28 || !in.have(1, m_path))
        fail("read", m_path, "it was cut");
      const auto byte = static_cast<unsigned char>(in.buffer[in.at++]);
      length |= static_cast<std::uint64_t>(byte & 0x7fU) << shift;
      if (byte < 0x80)
        break;
    }
    // The library counts in 31 bits: a damaged length may be any number.
    if (length > LONGEST_RECORD || !in.have(length, m_path))
      fail("read", m_path, "it was cut");
    if (!in.record.ParseFromArray(in.buffer.data() + in.at, static_cast<int>(length)))
      fail("read", m_path, "it was changed");
    in.at += length;
    // Records of a later program are passed over.
  } while (!take(in.record, record));
  // Behind the trailer stands the checksum, which is no record.
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
