#pragma once

#include <optional>
#include <string>

#include "runtime/ut/UniqueFd.h"

namespace orv {

// An exclusive advisory lock on a whole file, which serialises processes (not threads: the lock
// belongs to the process). It ends with the process whatever becomes of it, and is not inherited
// by children. Owned by one function at a time; the file itself stays behind when it is released.
// Closing any descriptor of the file releases the lock, so the file is to be touched only here.
class Filelock final {
 public:
  // What lockFile returns.
  static constexpr int LOCKED = 0;
  static constexpr int INVALID_NAME = 12;
  static constexpr int NOT_OPENED = 13;
  static constexpr int LOCKED_BY_ANOTHER = 14;
  static constexpr int NOT_LOCKED = 15;

  explicit Filelock(std::string name) : m_name(std::move(name)) {}
  Filelock(const Filelock&) = delete;
  Filelock& operator=(const Filelock&) = delete;
  ~Filelock() { unlockFile(); }

  // Tests and locks, without waiting; LOCKED also while this object holds the lock. The file is
  // created with mode 0700 if it is missing, and is no link. NOT_OPENED and NOT_LOCKED leave errno.
  [[nodiscard]] int lockFile();

  // Releases the lock and closes the file; nothing when it is not held.
  void unlockFile();

  // Puts this process's id ("%d") in place of the file's content; only while the lock is held.
  bool writeProcessId();

  // The id that the last writer left; nothing when the file holds none.
  [[nodiscard]] std::optional<int> readProcessId() const;

  // Whether this object or another process holds the lock now.
  [[nodiscard]] bool isLocked() const;

  [[nodiscard]] const std::string& name() const noexcept { return m_name; }

 private:
  std::string m_name;
  UniqueFd m_fd;  // open exactly while the lock is held
};

}  // namespace orv
