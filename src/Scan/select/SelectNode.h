#pragma once

#include <cstdint>

namespace orv {

struct FileAttributes;

// What a selection may ask about an entry besides its attributes.
struct SelectContext {
  std::int64_t scanStart;  // start of the scan, seconds since 1970: the reference of all ages
};

// A node of a parsed where clause. Immutable once parsed, so one tree serves the whole walk; asked
// once per entry and profile, on the scanning thread, without allocating.
class SelectNode {
 public:
  SelectNode() = default;
  virtual ~SelectNode() = default;
  SelectNode(const SelectNode&) = delete;
  SelectNode& operator=(const SelectNode&) = delete;

  // Whether the entry belongs to the selection.
  [[nodiscard]] virtual bool matches(const FileAttributes& info,
                                     const SelectContext& context) const = 0;
};

}  // namespace orv
