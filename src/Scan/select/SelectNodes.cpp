#include "Scan/select/SelectNodes.h"

#include <algorithm>
#include <string_view>

#include "Scan/entry/UserTable.h"

namespace orv {
namespace {

constexpr std::int64_t MS_PER_SECOND = 1000;

void sortByCost(std::vector<ClauseNodePtr>& nodes) {
  // Stable: tests of one cost are asked in the order in which they were written.
  std::ranges::stable_sort(nodes, {}, [](const ClauseNodePtr& node) { return node->cost(); });
}

int costOfAll(const std::vector<ClauseNodePtr>& nodes) {
  // One for the node itself: a group costs more than its only test.
  int cost = 1;
  for (const ClauseNodePtr& node : nodes)
    cost += node->cost();
  return cost;
}

std::int64_t wholeSeconds(std::int64_t milliseconds) {
  const std::int64_t seconds = milliseconds / MS_PER_SECOND;
  // Down also before 1970, so that every second is as long.
  return milliseconds % MS_PER_SECOND < 0 ? seconds - 1 : seconds;
}

std::int64_t figureOf(const FileAttributes& info, Figure figure) {
  switch (figure) {
    case Figure::SIZE:
      return info.faLength;
    case Figure::ACCESSED:
      return info.faAccessed;
    case Figure::MODIFIED:
      return info.faModified;
    case Figure::CREATED:
      return info.faCreated;
    default:
      return info.faLinkCount;
  }
}

std::string_view pathOf(const FileAttributes& info) {
  std::string_view path = info.faName;
  // The root's name ends with a "/", and patterns are written without.
  if (path.size() > 1 && path.ends_with('/'))
    path.remove_suffix(1);
  return path;
}

std::string_view nameOf(const FileAttributes& info) {
  const std::string_view path = pathOf(info);
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

AndNode::AndNode(std::vector<ClauseNodePtr> children) : m_children(std::move(children)) {
  sortByCost(m_children);
}

bool AndNode::matches(const FileAttributes& info, const SelectContext& context) const {
  // Without children it admits everything: so the empty clause does.
  return std::ranges::all_of(
      m_children, [&](const ClauseNodePtr& child) { return child->matches(info, context); });
}

int AndNode::cost() const {
  return costOfAll(m_children);
}

OrNode::OrNode(std::vector<ClauseNodePtr> children) : m_children(std::move(children)) {
  sortByCost(m_children);
}

bool OrNode::matches(const FileAttributes& info, const SelectContext& context) const {
  return std::ranges::any_of(
      m_children, [&](const ClauseNodePtr& child) { return child->matches(info, context); });
}

int OrNode::cost() const {
  return costOfAll(m_children);
}

bool NotNode::matches(const FileAttributes& info, const SelectContext& context) const {
  return !m_child->matches(info, context);
}

bool TypeNode::matches(const FileAttributes& info, const SelectContext& /*context*/) const {
  // A type beyond the bits of the list fits none, and to shift that far is not defined.
  return info.faType < 32 && (m_types >> info.faType & 1U) != 0;
}

std::int64_t RangeNode::valueOf(const FileAttributes& info, const SelectContext& context) const {
  const std::int64_t value = figureOf(info, m_figure);
  switch (m_measure) {
    case Measure::AGE:
      return context.scanStart - wholeSeconds(value);
    case Measure::TIME:
      return wholeSeconds(value);
    default:
      return value;
  }
}

bool RangeNode::matches(const FileAttributes& info, const SelectContext& context) const {
  const std::int64_t value = valueOf(info, context);
  switch (m_comparison) {
    case Comparison::LESS:
      return value < m_span.low;
    case Comparison::AT_MOST:
      // A day or a month is a span of seconds: "at most" reaches to its end, "less" stops at its
      // start.
      return value <= m_span.high;
    case Comparison::MORE:
      return value > m_span.high;
    case Comparison::AT_LEAST:
      return value >= m_span.low;
    case Comparison::EQUAL:
      return m_span.low <= value && value <= m_span.high;
    default:
      return value < m_span.low || m_span.high < value;
  }
}

bool PermissionNode::matches(const FileAttributes& info, const SelectContext& /*context*/) const {
  return (info.faAttributes & m_flags) == m_flags;
}

bool OwnerIdNode::matches(const FileAttributes& info, const SelectContext& /*context*/) const {
  return info.*m_field == m_id;
}

bool OwnerNameNode::matches(const FileAttributes& info, const SelectContext& /*context*/) const {
  const UserOrGroup* owner = info.*m_field;
  return owner != nullptr && owner->ugName == m_name;
}

bool PatternNode::matches(const FileAttributes& info, const SelectContext& /*context*/) const {
  return m_pattern->matches(m_scope == PatternScope::PATH ? pathOf(info) : nameOf(info));
}

int PatternNode::cost() const {
  const bool path = m_scope == PatternScope::PATH;
  // Far above all other tests: an expression looks at every byte, and a path has more of them.
  return m_pattern->usesRegex() ? (path ? 200 : 100) : (path ? 12 : 10);
}

}  // namespace orv
