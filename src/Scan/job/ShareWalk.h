#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Scan/accumulate/DirectoryWatch.h"
#include "Scan/accumulate/PartState.h"
#include "Scan/entry/UserTable.h"
#include "Scan/job/WalkSelections.h"
#include "Scan/share/LinkStore.h"
#include "Scan/share/WorkDirectory.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/walk/WalkPart.h"

namespace orv {

// Resolves users and groups as another table does, and notes where each was met at first.
class PlacedUsers final : public UserTable {
 public:
  explicit PlacedUsers(UserTable& users) noexcept : m_users(users) {}

  // The walk that asks.
  void follow(const Scanner& scanner) noexcept { m_scanner = &scanner; }
  [[nodiscard]] UserOrGroup* lookup(const Sid& sid, bool isGroup) override;
  void save(share::StateWriter& writer) const;

 private:
  UserTable& m_users;
  const Scanner* m_scanner = nullptr;
  std::map<std::pair<bool, std::uint32_t>, std::string> m_places;
};

// What the walk of a filesystem works with, besides the filesystem. All of it is the scan's own.
struct WalkSetting {
  const Bindings& bindings;
  CuStatDef* profiles;  // the head of the job's chain
  UserTable& users;
  FileTypeTable& fileTypes;
  int threads;  // that read ahead
};

// Walks one share of a filesystem and writes what all containers gathered, and what it left to
// others, into its state. Used once, on the scanning thread.
class ShareWalk final : public WalkPart, public PartKeeper {
 public:
  // All must outlive the walk. `temporary` is a directory for files without names.
  ShareWalk(FSRef& ref, const WalkSetting& setting, const share::Share& share,
            share::StateWriter& writer, std::string temporary);
  ~ShareWalk() override;

  // 0; 4 when something could not be read; 8 when the share could not be walked, whose state is
  // then worth nothing. Throws StateError, and ScanAbortException* when the scan is stopped.
  [[nodiscard]] int walk();
  [[nodiscard]] std::int64_t entries() const noexcept { return m_entries; }

  // Of the parts, which are the directories that the share begins with.
  [[nodiscard]] const FileAttributes& root() const override { return *m_root; }
  [[nodiscard]] bool mayEnter(const FileAttributes& directory, std::int64_t entries) override;
  void leaveOver(const FileAttributes& directory) override;
  [[nodiscard]] std::unique_ptr<FirstNames> makeFirstNames() override;
  void keep(CuStatAccum& container, const CuStatDef& profile, const SMonDir& directory) override;

 private:
  void build();
  [[nodiscard]] int walkFrom(const share::LeftOver& root);
  void write(CuStatAccum& container, const share::Container& header);
  [[nodiscard]] std::uint32_t numberOf(const CuStatDef& profile) const;
  [[nodiscard]] DirectoryWatch::Enclosing enclosing(const share::LeftOver& root);

  FSRef& m_ref;
  const WalkSetting& m_setting;
  const share::Share& m_share;
  share::StateWriter& m_writer;
  std::string m_temporary;
  share::LinkMemory m_linkMemory;  // of all containers
  PlacedUsers m_users;
  WalkSelections m_selections;
  std::vector<std::unique_ptr<CuStatAccum>> m_containers;  // by the filesystem's profiles
  std::unique_ptr<DirectoryWatch> m_watch;
  std::vector<SelectedAction> m_actions;
  // The monitored directories that the last parts lay in, by place: parts that lie in one share it.
  std::map<std::string, std::shared_ptr<SMonDir>> m_enclosing;
  std::unique_ptr<ScannerUnix> m_scanner;  // of the last part: later names are counted with it
  const FileAttributes* m_root = nullptr;
  std::int64_t m_entries = 0;  // of all parts but the one being walked
};

// The position of a filesystem's own containers in a state: behind all monitored directories.
inline constexpr const char* FILESYSTEM_ORDER = "\x02";

}  // namespace orv
