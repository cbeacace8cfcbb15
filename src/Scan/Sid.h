#pragma once

#include <cstdint>

namespace orv {

// The numeric identity of an owner or group, a uid or a gid as the system numbers them: unsigned,
// up to 4294967295. A value; whether it means a user or a group is said where it is used.
class Sid final {
 public:
  explicit constexpr Sid(std::uint32_t id) noexcept : m_id(id) {}
  [[nodiscard]] constexpr std::uint32_t id() const noexcept { return m_id; }

 private:
  std::uint32_t m_id;
};

}  // namespace orv
