#pragma once

#include <deque>
#include <memory>

#include "Scan/results/CuStatResults.h"
#include "Scan/results/SMonDir.h"

namespace orv {

class Filesystem;
class GenericPrint;

// Pairs what a profile gathered with the filesystem or the monitored directory that it was gathered
// on. Owned by its profile. An entry of a filesystem gets its results after the walk; one of a
// monitored directory is made with them.
class ResultsByFS final {
 public:
  static constexpr const char* ENTITY_NAME = "ResultsByFS";

  // `filesystem` is not owned and must outlive the entry.
  explicit ResultsByFS(const Filesystem& filesystem) noexcept : m_filesystem(filesystem) {}
  // `monDir` lies in `filesystem`.
  ResultsByFS(const Filesystem& filesystem, std::shared_ptr<const SMonDir> monDir,
              std::unique_ptr<CuStatResults> results) noexcept;
  ResultsByFS(const ResultsByFS&) = delete;
  ResultsByFS& operator=(const ResultsByFS&) = delete;

  // "rfResults", "rfDirOrFS".
  static void printHeader(GenericPrint& print);
  // The whole entity, its results nested; nothing for an entry without results.
  void printData(GenericPrint& print) const;

  // The filesystem that was walked.
  [[nodiscard]] const Filesystem& filesystem() const noexcept { return m_filesystem; }
  // The monitored directory; null when the subject is the filesystem itself.
  [[nodiscard]] const SMonDir* monDir() const noexcept { return m_monDir.get(); }

  std::unique_ptr<CuStatResults> rfResults;  // null until gathered

 private:
  const Filesystem& m_filesystem;
  std::shared_ptr<const SMonDir> m_monDir;
};

using ResultsByFSList = std::deque<std::unique_ptr<ResultsByFS>>;

}  // namespace orv
