#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Scan/accumulate/Accumulator.h"
#include "Scan/accumulate/PartState.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/walk/FileAction.h"

namespace orv {

// An entry of the table of known inodes: nothing but the number, since backup trees hold a hundred
// million of them. Ordered by the number as a signed value.
struct Inode {
  std::int64_t inodeNumber;

  friend bool operator<(const Inode& a, const Inode& b) noexcept {
    return a.inodeNumber < b.inodeNumber;
  }
};

// The hard-linked inodes that one accumulator container has met in one tree. An ordered B-tree:
// some 9 to 16 bytes per inode. Used on the scanning thread.
class InodeTable final {
 public:
  InodeTable();
  ~InodeTable();
  InodeTable(const InodeTable&) = delete;
  InodeTable& operator=(const InodeTable&) = delete;

  // Adds the inode; false when it is known already.
  bool insert(Inode inode);

  // Frees the table's memory.
  void clear() noexcept;

  [[nodiscard]] std::size_t size() const noexcept;

 private:
  struct Tree;
  std::unique_ptr<Tree> m_tree;
};

class CuStatDef;
class Filesystem;
class LargeDirAccum;

// All accumulators of one profile on one tree. Owned by the filesystem scan, called by the walk on
// the scanning thread.
//
//   CuStatAccum accum;
//   accum.buildAccum(profile, filesystem);
//   ... the walk: directoryEntered for the top directory, actUpon per entry, directoryEntered and
//   directoryLeft around each subdirectory, directoryLeft for the top directory ...
//   entry.rfResults = accum.takeResults();
class CuStatAccum : public FileAction {
 public:
  CuStatAccum();
  ~CuStatAccum() override;

  // Makes the accumulators that the profile asks for and an empty set of results, after releasing
  // what an earlier call made. Stamps the filesystem with this computer's identifier (-1 when it is
  // not known), and clears the profile's sdGroupByCreation where the platform records no creation
  // times. Both must outlive the accumulators. Records bear `scanTime` (milliseconds since 1970); 0
  // for now.
  void buildAccum(CuStatDef& def, Filesystem& fs, std::int64_t scanTime = 0);

  // Shows the entry to the accumulators. Of a hard-linked file the first name met goes to the
  // largest directories only and every later one to all statistics: deliberate, keep it.
  void actUpon(Scanner* pScanner, FileAttributes* pInfo) override;
  void directoryEntered(FileAttributes* pDirInfo) override;
  // Finishes the accumulators when the tree's top directory is left.
  void directoryLeft() override;

  // For a part of a tree, after `buildAccum`: the first names of linked files go to `firstNames`,
  // and leaving the top directory finishes nothing.
  void gatherPart(std::unique_ptr<FirstNames> firstNames);
  [[nodiscard]] FirstNames* firstNames() noexcept { return m_firstNames.get(); }
  // The walk is inside of the top directory from the beginning.
  void beInside() noexcept { m_depth = 0; }

  // Takes the rows of one accumulator after the other.
  class StateSink : public RowSink {
   public:
    // Those that follow are of the accumulator of that number.
    virtual void beginAccumulator(std::uint32_t number) = 0;
  };
  void save(StateSink& sink) const;
  // Adds a row of the accumulator of that number; one that there is not is refused.
  void absorb(Scanner& scanner, std::uint32_t number, const StateRow& row);
  // Counts a name that turned out not to be the first of its inode, but for the directories, which
  // count every name when it is met.
  void countLaterName(Scanner& scanner, FileAttributes& info);
  // All parts were absorbed: completes the results.
  void finishParts() { finish(); }

  // Deletes the accumulators; the records belong to the results and stay.
  void releaseAccumulators();
  void releaseInodeTableMap();

  // 0 when the filesystem knows neither owners nor groups (the FAT types on Windows), else 1.
  [[nodiscard]] static int checkForFAT(const CuStatDef& def, const Filesystem& fs);

  // The results: built by `buildAccum`, complete once the top directory was left.
  [[nodiscard]] CuStatResults* results() noexcept { return m_results.get(); }
  [[nodiscard]] std::unique_ptr<CuStatResults> takeResults() noexcept;

 protected:
  // Adds an accumulator, to be called before all others.
  void push(std::unique_ptr<Accumulator> accumulator);

  // Directories open below the tree's top; -1 outside of it.
  [[nodiscard]] std::int32_t depth() const noexcept { return m_depth; }

 private:
  [[nodiscard]] bool isFirstName(const FileAttributes& info);
  void finish();

  InodeTable m_inodeTable;
  std::unique_ptr<FirstNames> m_firstNames;  // null when the tree is gathered as a whole
  std::int32_t m_depth = 0;
  ListElement* m_accumulators = nullptr;  // owned chain, in calling order: the last made is first
  std::unique_ptr<CuStatResults> m_results;
  std::unique_ptr<LargeDirAccum> m_largeDirAccum;
};

}  // namespace orv
