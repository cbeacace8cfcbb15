#pragma once

#include <memory>

#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/share/StateRecords.h"

// Files that pass between the walks of one tree: what a share is to walk, and the state that it
// leaves. Both are runs of records with a version, a length before each and a checksum at the end,
// so that a file that was cut or changed is known.
namespace orv::share {

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

}  // namespace orv::share
