#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace orv {

// How far a walk is, for another process to see while it goes on: a small file that both map. The
// watcher makes the file, the job's scanning thread writes into it and makes no system call for it.
// Owned by whoever made or opened it.
class ProgressPage final {
 public:
  struct State {
    std::uint64_t entries = 0;  // met so far, of all filesystems
    std::string directory;      // entered last; its end is cut where it is very long
  };

  // Makes the file of that name anew (mode 0600) and maps it. Null with errno on failure.
  [[nodiscard]] static std::unique_ptr<ProgressPage> make(const std::string& path);
  // Maps a file that `make` made. Null with errno on failure, also for any other file.
  [[nodiscard]] static std::unique_ptr<ProgressPage> open(const std::string& path);
  ~ProgressPage();
  ProgressPage(const ProgressPage&) = delete;
  ProgressPage& operator=(const ProgressPage&) = delete;

  // For the one writer.
  void entryMet() noexcept;
  // As many were met in all.
  void setEntries(std::uint64_t entries) noexcept;
  void directoryEntered(std::string_view path) noexcept;

  // For the watcher: the newest state that is whole.
  [[nodiscard]] State read() const;

 private:
  struct Layout;
  explicit ProgressPage(Layout* layout) noexcept : m_layout(layout) {}
  [[nodiscard]] static std::unique_ptr<ProgressPage> map(int fd);

  Layout* m_layout;
};

}  // namespace orv
