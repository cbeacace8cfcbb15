#include "Scan/share/StateMerge.h"

#include <algorithm>

#include "Scan/entry/UserTable.h"
#include "Scan/walk/Scanner.h"

namespace orv::share {
namespace {

using Kind = Record::Kind;

// One of the files, at a record that belongs to a container.
class Source final {
 public:
  Source(const std::string& file, const std::string& run, MergeTarget& target, Trailer& sum)
      : m_reader(file, run), m_target(target), m_sum(sum) {
    advance();
  }

  [[nodiscard]] bool isAt(Kind kind) const noexcept { return !m_ended && record.kind == kind; }

  void advance() {
    while (!m_ended && m_reader.next(record)) {
      // Belongs to no container, so it may come in any order.
      if (record.kind == Kind::MET)
        m_target.met(record.met);
      else if (record.kind == Kind::MESSAGE)
        m_target.message(record.message);
      else if (record.kind == Kind::TRAILER)
        takeTrailer();
      // What was left over is in other shares by now.
      else if (record.kind != Kind::LEFT_OVER)
        return;
    }
    m_ended = true;
  }

  Record record;

 private:
  void takeTrailer() {
    m_sum.entries += record.trailer.entries;
    // What one part could not read is missing in the whole.
    m_sum.code = std::max(m_sum.code, record.trailer.code);
  }

  StateReader m_reader;
  MergeTarget& m_target;
  Trailer& m_sum;
  bool m_ended = false;
};

using Sources = std::vector<Source*>;

class Merge final {
 public:
  Merge(Scanner& scanner, MergeTarget& target) noexcept : m_scanner(scanner), m_target(target) {}

  // What all sources hold of the container that is next. False when there is none.
  [[nodiscard]] bool mergeNext(const Sources& all) {
    // In every file containers ascend: the least of those that are next is the next of all.
    const Container* least = nullptr;
    for (const Source* source : all)
      if (source->isAt(Kind::CONTAINER) && (least == nullptr || source->record.container < *least))
        least = &source->record.container;
    if (least == nullptr)
      return false;
    // A copy: the sources move on under it.
    const Container container = *least;
    CuStatAccum& accumulators = m_target.begin(container);
    Sources parts;
    for (Source* source : all)
      if (source->isAt(Kind::CONTAINER) && !(container < source->record.container)) {
        source->advance();
        parts.push_back(source);
      }
    mergeNames(parts, accumulators);
    mergeRows(parts, accumulators);
    m_target.end();
    return true;
  }

 private:
  // Each part has an inode once.
  void mergeNames(const Sources& parts, CuStatAccum& accumulators) {
    for (;;) {
      Sources same;
      for (Source* part : parts) {
        if (!part->isAt(Kind::FIRST_NAME))
          continue;
        const std::uint64_t inode = part->record.name.faInodeNumber;
        // Inodes ascend as well: those so far wait for their turn.
        if (!same.empty() && inode < same.front()->record.name.faInodeNumber)
          same.clear();
        if (same.empty() || inode == same.front()->record.name.faInodeNumber)
          same.push_back(part);
      }
      if (same.empty())
        return;
      const Source* first = *std::ranges::min_element(
          same, {},
          [](const Source* part) -> const std::string& { return part->record.name.faPlace; });
      // The one that a single walk would have met first; all the others count, as they would there.
      m_target.firstName(first->record.name);
      for (Source* part : same) {
        if (part != first) {
          resolve(part->record.name, m_scanner);
          accumulators.countLaterName(m_scanner, part->record.name);
        }
        part->advance();
      }
    }
  }

  void mergeRows(const Sources& parts, CuStatAccum& accumulators) {
    for (Source* part : parts)
      for (; part->isAt(Kind::ROW); part->advance()) {
        if (part->record.row.hasEntry)
          resolve(part->record.row.entry, m_scanner);
        accumulators.absorb(m_scanner, part->record.accumulator, part->record.row);
      }
  }

  Scanner& m_scanner;
  MergeTarget& m_target;
};

}  // namespace

void resolve(FileAttributes& info, const Scanner& scanner) {
  // Records of all parts point to the same users then, as those of one walk do.
  info.faOwner = scanner.users().find(Sid(info.ownerId), false);
  info.faGroup = scanner.users().find(Sid(info.groupId), true);
}

Trailer mergeStates(const std::vector<std::string>& files, const std::string& run, Scanner& scanner,
                    MergeTarget& target) {
  Trailer sum;
  // By pointer, because a list of sources must stay valid while the next ones are opened.
  std::vector<std::unique_ptr<Source>> sources;
  Sources all;
  for (const std::string& file : files) {
    sources.push_back(std::make_unique<Source>(file, run, target, sum));
    all.push_back(sources.back().get());
  }
  Merge merge(scanner, target);
  while (merge.mergeNext(all)) {
  }
  return sum;
}

}  // namespace orv::share
