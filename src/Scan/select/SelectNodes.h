#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Scan/entry/FileAttributes.h"
#include "Scan/select/PathPattern.h"
#include "Scan/select/SelectNode.h"

namespace orv {

// The node kinds of a parsed where clause. SelectParser builds them, `matches` is what the walk
// asks, `describe` is what a person reads (SelectExplain.cpp). "!=" and "!~" are the exact opposite
// of "=" and "~": an entry without a known owner is not owned by anybody that a clause names.
class ClauseNode : public SelectNode {
 public:
  // What asking this node costs, relative to a test of the type. "and" and "or" ask the cheapest
  // first; as no test has an effect, that changes no answer.
  [[nodiscard]] virtual int cost() const = 0;

  // Appends the node in plain English, a line per test, each indented by `level` steps.
  virtual void describe(std::string& out, int level) const = 0;
};

using ClauseNodePtr = std::unique_ptr<ClauseNode>;

// All of its children; none, as an empty clause has, admit every entry.
class AndNode final : public ClauseNode {
 public:
  explicit AndNode(std::vector<ClauseNodePtr> children);
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override;
  void describe(std::string& out, int level) const override;

 private:
  std::vector<ClauseNodePtr> m_children;
};

// At least one of its children.
class OrNode final : public ClauseNode {
 public:
  explicit OrNode(std::vector<ClauseNodePtr> children);
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override;
  void describe(std::string& out, int level) const override;

 private:
  std::vector<ClauseNodePtr> m_children;
};

class NotNode final : public ClauseNode {
 public:
  explicit NotNode(ClauseNodePtr child) : m_child(std::move(child)) {}
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override { return m_child->cost(); }
  void describe(std::string& out, int level) const override;

 private:
  ClauseNodePtr m_child;
};

// One of several types; bit n of `types` is the type code n.
class TypeNode final : public ClauseNode {
 public:
  explicit TypeNode(std::uint32_t types) : m_types(types) {}
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override { return 1; }
  void describe(std::string& out, int level) const override;

 private:
  std::uint32_t m_types;
};

enum class Comparison { LESS, AT_MOST, MORE, AT_LEAST, EQUAL, NOT_EQUAL };

// What a comparison measures. Ages are whole seconds before the scan start (negative for times
// behind it), times whole seconds since 1970, rounded down.
enum class Measure { BYTES, AGE, TIME, COUNT };

// What an entry is compared with: a single value, the seconds of a day, or a range, both ends
// included. An entry is below it, in it (EQUAL) or above it, and exactly one of these.
struct Span {
  std::int64_t low = 0;
  std::int64_t high = 0;
};

// The figures of an entry that can be compared.
enum class Figure { SIZE, ACCESSED, MODIFIED, CREATED, LINKS };

// Compares the size, a time stamp or the link count.
class RangeNode final : public ClauseNode {
 public:
  RangeNode(Figure figure, Measure measure, Comparison comparison, Span span)
      : m_figure(figure), m_measure(measure), m_comparison(comparison), m_span(span) {}
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override { return 2; }
  void describe(std::string& out, int level) const override;

 private:
  [[nodiscard]] std::int64_t valueOf(const FileAttributes& info,
                                     const SelectContext& context) const;
  Figure m_figure;
  Measure m_measure;
  Comparison m_comparison;
  Span m_span;
};

// All of some flags of `faAttributes`.
class PermissionNode final : public ClauseNode {
 public:
  explicit PermissionNode(std::uint32_t flags) : m_flags(flags) {}
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override { return 3; }
  void describe(std::string& out, int level) const override;

 private:
  std::uint32_t m_flags;
};

// The owner or group by the entry's own id, whatever ids share its name.
class OwnerIdNode final : public ClauseNode {
 public:
  using Field = std::uint32_t FileAttributes::*;
  OwnerIdNode(Field field, std::uint32_t id) : m_field(field), m_id(id) {}
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override { return 4; }
  void describe(std::string& out, int level) const override;

 private:
  Field m_field;
  std::uint32_t m_id;
};

// The owner or group by its exact name; an id without an entry has its decimal digits for a name.
class OwnerNameNode final : public ClauseNode {
 public:
  using Field = const UserOrGroup* FileAttributes::*;
  OwnerNameNode(Field field, std::string name) : m_field(field), m_name(std::move(name)) {}
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override { return 5; }
  void describe(std::string& out, int level) const override;

 private:
  Field m_field;
  std::string m_name;
};

// The whole path, or its last component, against a pattern. The "/" that ends the name of the
// walk's root is not part of either: "/mnt/x/" is the path "/mnt/x" and the name "x"; the path "/"
// has an empty name.
class PatternNode final : public ClauseNode {
 public:
  PatternNode(PatternScope scope, std::string glob, std::unique_ptr<PathPattern> pattern)
      : m_scope(scope), m_glob(std::move(glob)), m_pattern(std::move(pattern)) {}
  [[nodiscard]] bool matches(const FileAttributes& info,
                             const SelectContext& context) const override;
  [[nodiscard]] int cost() const override;
  void describe(std::string& out, int level) const override;

 private:
  PatternScope m_scope;
  std::string m_glob;  // as the clause has it
  std::unique_ptr<PathPattern> m_pattern;
};

}  // namespace orv
