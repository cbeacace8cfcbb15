#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Common/format/EntityToObjectMapper.h"
#include "Common/format/LineFile.h"

namespace orv {

// The reader of definition files: bracketed entities, their field names and their rows of values,
// all as text. It knows no entity by name, so every kind of definition file can be read with it.
//
// clang-format off
//   [Header]        ParserAPI reader(path);
//   [Disk]          std::unique_ptr<ParserAPI::Entity> disk(reader.findNextEntity(nullptr));
//   id,name         reader.getEntityHeader(disk->name);      {id, name}
//   [/Header]       reader.getEntityData(disk.get());        {{1, "a, b"}}
//   [Disk]          reader.getEntityChildren(disk.get());    {}
//   1,"a, b"
//   [/Disk]
// clang-format on
//
// One reader serves one file and one thread; it keeps the header's lines in memory and reads
// everything else again from the positions that entities remember, in any order. Positions have 32
// bits: a read that goes beyond 2 GiB fails. Failures are thrown as ORVParserException by value:
//   12   the path is empty
//   13   the file cannot be opened or read
//   17   a position cannot be reached, or a read failed or went beyond 2 GiB
//   321  the header names no such entity
class ParserAPI final {
 public:
  // One occurrence of an entity. Entities are handed out as bare pointers that the caller owns:
  // take them into a std::unique_ptr at once. They may outlive the reader.
  struct Entity {
    std::string name;
    std::int32_t filePointer;  // behind the open tag, then behind each row that was read
    std::int32_t dataPointer;  // where the next row begins; only counted reads move it
    std::string qualifier;     // "12" of "[Name,12]"; empty without a comma
  };

  // Opens the file and reads its header; the first entity behind it is next.
  explicit ParserAPI(const std::string& file) : ParserAPI(file, false) {}

  // With `needNumEntities` the entities are counted instead: no header is kept.
  ParserAPI(const std::string& file, bool needNumEntities);

  ParserAPI(const ParserAPI&) = delete;
  ParserAPI& operator=(const ParserAPI&) = delete;

  // The next open tag from where the last operation stopped reading; null at the end of the file.
  // With `lookForHeader` the end of the header may come first.
  [[nodiscard]] Entity* findFirstEntity(bool lookForHeader);

  // The first entity that opens behind the close tag of `ef`, wherever it stands: behind the last
  // child of a parent that is the parent's next sibling. Null `ef` is findFirstEntity(false).
  [[nodiscard]] Entity* findNextEntity(Entity* ef);

  // The field names that the header declares for `name`, which holds the qualifier too if the
  // header's tag does ("Name,12").
  [[nodiscard]] HeaderArray getEntityHeader(const std::string& name);

  // The rows of `e`: all of them from its `dataPointer` on, or at most `count`, so that the next
  // counted call continues. A file that ends before the entity is closed fails with code 17.
  DataArray getEntityData(Entity* e, int count);
  DataArray getEntityData(Entity* e) { return getEntityData(e, ALL_ROWS); }

  // The row at the `dataPointer`, behind which both positions then are; false behind the last row.
  // All of an entity's rows are read so without keeping them; the end of the file is treated like
  // by getEntityData for all rows.
  [[nodiscard]] bool getEntityRow(Entity& e, std::vector<std::string>& row);

  // The entities directly inside `parent`, in file order; each is the caller's.
  [[nodiscard]] std::vector<Entity*> getEntityChildren(Entity* parent);

  // How many top-level entities were counted; 0 unless counting was asked for.
  [[nodiscard]] int getNumEntities() const noexcept {
    return static_cast<int>(m_entityCount.size());
  }

  // What the nesting of the entities behind the header lacks, in words: the first close tag that
  // does not close what is open, or what the end of the file leaves open. Empty for a balanced
  // file. Reads the file once; the entities' positions stay good.
  [[nodiscard]] std::string imbalance();

  // The number of the line that begins at a position, from 1.
  [[nodiscard]] long long lineNumber(std::int64_t position);

  // Whether the file has a line "[Header]", and one "[/Header]" behind it.
  [[nodiscard]] bool hasHeader() const noexcept { return m_hasHeader; }
  [[nodiscard]] bool hasHeaderEnd() const noexcept { return m_headerEnd > 0; }

  // Whether getEntityChildren ever returned fewer entities than there are, for want of memory.
  [[nodiscard]] bool hasLostChildren() const noexcept { return m_hasLostChildren; }

  static constexpr int ALL_ROWS = -1;

 private:
  using HeaderTable = std::map<std::string, std::string, std::less<>>;
  struct OpenEntity {
    std::string name;
    std::int64_t position;  // of its open tag
  };

  void initialize(bool needNumEntities);
  void open();
  void readHeader();
  void countEntities();
  [[nodiscard]] std::optional<std::string_view> readLine(const char* operation);
  void seek(std::int64_t position, const char* operation);
  [[nodiscard]] Entity* newEntity(const std::string& tag) const;
  [[nodiscard]] std::string describeClose(const std::string& tag, std::int64_t position,
                                          const std::vector<OpenEntity>& open);
  [[noreturn]] void fail(const char* call, const char* operation, const std::string& reason) const;

  std::string m_path;
  LineFile m_file;
  std::string m_line;  // the line that was read last; what readLine returns points into it
  bool m_hasHeader = false;
  bool m_hasLostChildren = false;
  std::int64_t m_endOfLastRow = -1;          // of a row that the file's end ended; -1 without one
  std::int64_t m_headerEnd = 0;              // behind "[/Header]"; 0 without one
  std::map<int, std::string> m_entityCount;  // ordinal to close tag
  HeaderTable m_headerTable;                 // entity key to the line that lists its fields
  HeaderTable::const_iterator m_header = m_headerTable.end();  // the last look-up's row
};

}  // namespace orv
