#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Scan/accumulate/Accumulator.h"
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
  // times. Both must outlive the accumulators.
  void buildAccum(CuStatDef& def, Filesystem& fs);

  // Shows the entry to the accumulators. Of a hard-linked file the first name met goes to the
  // largest directories only and every later one to all statistics: deliberate, keep it.
  void actUpon(Scanner* pScanner, FileAttributes* pInfo) override;
  void directoryEntered(FileAttributes* pDirInfo) override;
  // Finishes the accumulators when the tree's top directory is left.
  void directoryLeft() override;

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
  std::int32_t m_depth = 0;
  ListElement* m_accumulators = nullptr;  // owned chain, in calling order: the last made is first
  std::unique_ptr<CuStatResults> m_results;
  std::unique_ptr<LargeDirAccum> m_largeDirAccum;
};

}  // namespace orv
