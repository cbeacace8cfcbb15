#include "Scan/select/SelectExplain.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr std::int64_t DAY = 86400;

struct Unit {
  std::int64_t factor;
  const char* name;
};

struct BitText {
  std::uint32_t bit;
  const char* text;
};

// clang-format off
constexpr Unit SIZE_UNITS[] = {
    {1LL << 40, "T"}, {1LL << 30, "G"}, {1LL << 20, "M"}, {1LL << 10, "K"},
};
// From the largest down: the first that divides the age exactly gives the shortest words.
constexpr Unit AGE_UNITS[] = {
    {31557600, "year"}, {604800, "week"}, {86400, "day"}, {3600, "hour"}, {60, "minute"},
    {1, "second"},
};
constexpr BitText TYPES[] = {
    {1U << FT_REGULAR,   "a regular file"},
    {1U << FT_DIRECTORY, "a directory"},
    {1U << FT_SYMLINK,   "a symbolic link"},
    {1U << FT_FIFO,      "a FIFO"},
    {1U << FT_SOCKET,    "a socket"},
    {1U << FT_DEVICE,    "a device"},
};
constexpr BitText FLAGS[] = {
    {FA_SETUID,     "set-user-id"},
    {FA_SETGID,     "set-group-id"},
    {FA_STICKY,     "sticky"},
    {FA_EXECUTABLE, "executable"},
    {FA_ORPHAN,     "owned by an unknown user"},
};
constexpr std::pair<Figure, const char*> FIGURES[] = {
    {Figure::SIZE,     "size is "},
    {Figure::ACCESSED, "accessed "},
    {Figure::MODIFIED, "modified "},
    {Figure::CREATED,  "created "},
    {Figure::LINKS,    "it has "},
};
// The words before the value, by comparison (rows) and measure: a time, or anything else.
constexpr const char* COMPARISONS[][2] = {
    /* LESS      */ {"less than ",   "before "},
    /* AT_MOST   */ {"at most ",     "not after "},
    /* MORE      */ {"more than ",   "after "},
    /* AT_LEAST  */ {"at least ",    "not before "},
    /* EQUAL     */ {"exactly ",     "within "},
    /* NOT_EQUAL */ {"other than ",  "not within "},
};
// clang-format on

void addLine(std::string& out, int level, std::string_view text) {
  out.append(static_cast<std::size_t>(level) * 2, ' ').append(text).push_back('\n');
}

void describeAll(std::string& out, int level, std::string_view title,
                 const std::vector<ClauseNodePtr>& children) {
  addLine(out, level, title);
  for (const ClauseNodePtr& child : children)
    child->describe(out, level + 1);
}

// The texts of the bits that are set, joined by `joint`.
template <std::size_t N>
std::string textsOf(std::uint32_t bits, const BitText (&rows)[N], std::string_view joint) {
  std::string text;
  for (const BitText& row : rows)
    if ((bits & row.bit) != 0)
      text.append(text.empty() ? "" : joint).append(row.text);
  return text;
}

std::string sizeText(std::int64_t bytes) {
  const std::string plain = std::to_string(bytes) + " bytes";
  for (const Unit& unit : SIZE_UNITS)
    // In a unit only where that is exact: the explanation must not round what the clause does not.
    if (bytes != 0 && bytes % unit.factor == 0)
      return std::to_string(bytes / unit.factor) + unit.name + " (" + plain + ")";
  return plain;
}

std::string ageText(std::int64_t seconds) {
  for (const Unit& unit : AGE_UNITS) {
    if (seconds % unit.factor != 0 || (seconds == 0 && unit.factor != 1))
      continue;
    const std::int64_t number = seconds / unit.factor;
    return std::to_string(number) + ' ' + unit.name + (number == 1 ? "" : "s");
  }
  return {};
}

std::string utcText(std::int64_t seconds) {
  using namespace std::chrono;
  const sys_seconds time{std::chrono::seconds{seconds}};
  const auto midnight = floor<days>(time);
  const year_month_day date{midnight};
  const hh_mm_ss clock{time - midnight};
  return formatText("%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                    static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                    static_cast<int>(clock.hours().count()),
                    static_cast<int>(clock.minutes().count()),
                    static_cast<int>(clock.seconds().count()));
}

// A span of times: whole days without their clock times.
std::string timesText(const Span& span) {
  const auto dateOf = [](std::int64_t seconds) { return utcText(seconds).substr(0, 10); };
  const auto isStartOfDay = [](std::int64_t seconds) { return seconds % DAY == 0; };
  if (span.low == span.high)
    return "the second " + utcText(span.low) + " UTC";
  // Both ends belong to the span: the second behind it begins the next day.
  if (!isStartOfDay(span.low) || !isStartOfDay(span.high + 1))
    return "the time " + utcText(span.low) + " to " + utcText(span.high) + " UTC";
  if (span.high - span.low < DAY)
    return "the day " + dateOf(span.low) + " UTC";
  return "the days " + dateOf(span.low) + " to " + dateOf(span.high) + " UTC";
}

std::string spanText(Measure measure, const Span& span) {
  if (measure == Measure::TIME)
    return timesText(span);
  if (measure == Measure::COUNT)
    return std::to_string(span.low) + (span.low == 1 ? " link" : " links");
  const auto text = measure == Measure::BYTES ? sizeText : ageText;
  return span.low == span.high ? text(span.low) : text(span.low) + " to " + text(span.high);
}

// "owner" or "group".
const char* wordOf(bool isOwner) {
  return isOwner ? "owner" : "group";
}

}  // namespace

void AndNode::describe(std::string& out, int level) const {
  // The empty clause is an "and" of nothing.
  if (m_children.empty())
    addLine(out, level, "every entry");
  else
    describeAll(out, level, "all of:", m_children);
}

void OrNode::describe(std::string& out, int level) const {
  describeAll(out, level, "any of:", m_children);
}

void NotNode::describe(std::string& out, int level) const {
  addLine(out, level, "not:");
  m_child->describe(out, level + 1);
}

void TypeNode::describe(std::string& out, int level) const {
  addLine(out, level, "it is " + textsOf(m_types, TYPES, " or "));
}

void RangeNode::describe(std::string& out, int level) const {
  std::string line;
  for (const auto& [figure, words] : FIGURES)
    if (figure == m_figure)
      line += words;
  // A range goes by its ends, not by "exactly".
  const bool isTime = m_measure == Measure::TIME;
  if (m_comparison != Comparison::EQUAL || m_span.low == m_span.high || isTime)
    line += COMPARISONS[static_cast<std::size_t>(m_comparison)][isTime ? 1 : 0];
  line += spanText(m_measure, m_span);
  if (m_measure == Measure::AGE)
    line += " before the scan start";
  addLine(out, level, line);
}

void PermissionNode::describe(std::string& out, int level) const {
  addLine(out, level, "it is " + textsOf(m_flags, FLAGS, " and "));
}

void OwnerIdNode::describe(std::string& out, int level) const {
  addLine(out, level,
          std::string(wordOf(m_field == &FileAttributes::ownerId)) + " has the id " +
              std::to_string(m_id));
}

void OwnerNameNode::describe(std::string& out, int level) const {
  addLine(out, level,
          std::string(wordOf(m_field == &FileAttributes::faOwner)) + " is named '" +
              withoutControlCharacters(m_name) + "'");
}

void PatternNode::describe(std::string& out, int level) const {
  std::string line = m_scope == PatternScope::PATH ? "path" : "name";
  line += " matches '" + withoutControlCharacters(m_glob) + "'";
  // The glob is only how it was written: where an expression decides, that is what must be looked
  // at.
  if (m_pattern->usesRegex())
    line += ", the regular expression " + withoutControlCharacters(m_pattern->expression());
  addLine(out, level, line);
}

std::string explain(const ClauseNode& clause) {
  TRACE_METHOD("explain(...)");
  std::string text;
  clause.describe(text, 0);
  return text;
}

}  // namespace orv
