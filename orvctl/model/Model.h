#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::ctl {

// What one result says, as plain values: the terminal report, every export and the history read
// this and compute no figure of their own. `buildModel` (ModelBuilder.h) makes it from any result
// of `scan`; what only the job's log knows (NotRead, Run) is added by whoever has the log.
//
// Texts are UTF-8 as `utf8Text` makes it (orvctl/text/Utf8.h): `bytesOf` gives the bytes back.
// Sizes are bytes, times milliseconds since 1970 UTC, ages seconds before the start of the scan. A
// value that the result does not hold is a missing optional or an empty list, never a 0.

// Entries of a subject. Every name counts but the first one met of a file with several.
struct Totals {
  std::int64_t files = 0;              // regular files and symbolic links
  std::int64_t directories = 0;        // the subject's own directory among them
  std::optional<std::int64_t> others;  // FIFOs, sockets, devices: known with a size distribution
  std::int64_t bytes = 0;              // lengths of all entries

  [[nodiscard]] std::int64_t entries() const noexcept {
    return files + directories + others.value_or(0);
  }
};

// A filesystem's capacity when it was scanned. `used` includes what is reserved for root.
struct Capacity {
  std::int64_t bytes = 0;
  std::int64_t used = 0;
  std::int64_t free = 0;
};

// One class of a distribution over all entries, directories among them. Sizes: `from` to `to`, both
// included. Ages: more than `from`, up to `to`. Without `from` or `to` the class has no such end.
struct Class {
  std::optional<std::int64_t> from;
  std::optional<std::int64_t> to;
  std::int64_t entries = 0;
  std::int64_t bytes = 0;
};

enum class AgeKind { ACCESSED, MODIFIED, CREATED, BACKED_UP };

// By the age of one time stamp: nine classes, then what is dated more than a day ahead.
struct AgeDistribution {
  AgeKind kind = AgeKind::ACCESSED;
  std::vector<Class> classes;
  std::int64_t averageAge = 0;  // seconds
};

// What an owner, a group or everybody has that is older than the age class at the same place in
// `Root::ages`.
struct Unused {
  std::int64_t entries = 0;
  std::int64_t bytes = 0;
};

// An owner or a group.
struct Account {
  std::int64_t id = 0;
  std::string name;  // its number where the result names nobody
  Totals totals;
  std::int64_t largestFile = 0;  // bytes
  std::vector<Unused> unused;    // one per `Root::ages`; empty in all but the main statistics
};

struct FileType {
  std::string extension;
  std::int64_t files = 0;
  std::int64_t bytes = 0;
};

enum class EntryType { UNKNOWN, FILE, LINK, DIRECTORY, FIFO, SOCKET, DEVICE };

// The record of one file or directory.
struct Entry {
  std::string path;
  EntryType type = EntryType::FILE;
  std::string owner;
  std::string group;
  bool orphan = false;         // its owner has no user entry
  std::int64_t bytes = 0;      // its length
  std::int64_t diskBytes = 0;  // its blocks
  std::int64_t modified = 0;
  std::int64_t accessed = 0;  // never before `modified`
  std::int64_t links = 0;
  std::int64_t inode = 0;
};

enum class RankingKind {
  LARGEST_FILES,
  LEAST_ACCESSED,
  OLDEST_NOT_BACKED_UP,
  LARGEST_ORPHANS,
  OLDEST_ORPHANS
};

// Files in order of rank. A ranking that was asked for may be empty.
struct Ranking {
  RankingKind kind = RankingKind::LARGEST_FILES;
  std::int64_t limit =
      0;  // how many the profile asked for: there may be more in the tree when full
  std::vector<Entry> files;
  // Largest files only: files of 2 GiB and more exist that can rank too low or be missing.
  bool misranked = false;
};

// A directory ranked by what lies directly in it.
struct RankedDirectory {
  Entry entry;
  Totals direct;
};

// What one profile gathered on one subject.
struct Statistics {
  std::optional<Totals> totals;
  std::vector<Class> sizes;
  std::vector<AgeDistribution> ages;
  std::vector<Account> owners;  // most bytes first, like groups and types
  std::vector<Account> groups;
  std::vector<FileType> types;
  std::vector<RankedDirectory> largestDirectories;
  std::vector<Ranking> rankings;

  [[nodiscard]] const Ranking* ranking(RankingKind kind) const noexcept;
  [[nodiscard]] const AgeDistribution* age(AgeKind kind) const noexcept;
};

// How the first profile of orvctl is called when only what a where clause admits was counted; the
// clause follows.
inline constexpr std::string_view SELECTION_NAME = "entries where ";

struct Profile {
  std::int64_t id = 0;
  std::string name;  // as the definition calls it
  Statistics statistics;
};

// A monitored directory that the scan met: everything below it, its own entry included.
struct Subtree {
  Entry entry;
  int depth = 0;         // levels below the root: 0 for the root itself
  bool watched = false;  // somebody asked for it by name or mask, not only by its depth
  std::optional<Totals> totals;
  std::vector<Profile> profiles;  // what else was gathered in it; empty for totals alone
};

// Which files count as old, in the order of their ages.
struct AgeLimit {
  std::int64_t seconds = 0;          // older than this
  AgeKind kind = AgeKind::ACCESSED;  // MODIFIED where access times tell nothing
  Unused all;
};

// A directory that a scan passed by.
struct NotEntered {
  std::string path;
  std::string kind;  // "tmpfs", "subvolume", "snapshot"
};

// What a scan left out of a root, by the job's log. Missing when there is no log.
struct NotRead {
  std::int64_t unreadable = 0;          // entries that could not be opened, read or examined
  std::vector<NotEntered> otherMounts;  // directories that lie on other devices
  std::vector<NotEntered> snapshots;    // ".snapshot" directories
  std::int64_t tooDeep = 0;             // directories below the last level that is entered
  std::int64_t tooLong = 0;             // paths that are too long

  // All directories that were passed by.
  [[nodiscard]] std::vector<NotEntered> notEntered() const;
};

// One filesystem of the job: for orvctl's jobs, one scanned path.
struct Root {
  std::int64_t id = 0;
  std::string path;  // without a trailing "/"
  int typeCode = -1;
  std::int64_t scanned = 0;  // start of its scan
  bool complete = false;     // it was walked (some entries may be unreadable all the same)
  std::optional<Capacity> capacity;
  std::optional<std::int64_t> dfUsed;  // bytes, without what is reserved; when the record tells
  std::int64_t inodes = 0;             // of the filesystem, 0 where it does not count them
  std::int64_t usedInodes = 0;
  std::vector<Profile> profiles;  // as the definition lists them, without orvctl's helping ones
  std::vector<AgeLimit> ages;
  std::optional<Totals> namesWithLinks;  // names of files with several links, counted N-1 times
  bool hasLinkedFiles = false;           // there are such files, if only by one name each
  int depth = 0;                  // down to this level below the path every directory is a subtree
  std::string depthCut;           // why that is less than was asked for, when it is
  std::vector<Subtree> subtrees;  // most bytes first
  std::vector<std::string> notMet;  // monitored paths or masks that no directory fitted
  std::optional<NotRead> notRead;

  // What the first profile gathered, into which the helping profiles are merged: the figures that
  // stand for the root. Empty statistics when there is no profile.
  [[nodiscard]] const Statistics& main() const noexcept;

  // Whether the figures are those of a selection (`scan --where`), not of all that lies there.
  [[nodiscard]] bool isSelection() const noexcept;
};

// How the job went, by its files beside the result.
struct Run {
  std::optional<double> seconds;
  std::optional<int> returnCode;
  std::vector<std::string> warnings;  // "<id> <text>", perhaps not all
  std::int64_t warningCount = 0;
  std::string log;  // path
};

struct Scan {
  static constexpr int SCHEMA_VERSION = 1;

  std::string result;       // path of the result file
  std::int64_t digest = 0;  // of its text: the history tells results apart by it; not exported
  std::string job;
  std::string host;  // empty when the result does not tell
  std::int64_t started = 0;
  std::string version;  // of orvctl, which read it
  std::vector<Root> roots;
  std::optional<Run> run;

  // Sums over the roots that have totals; missing when none has.
  [[nodiscard]] std::optional<Totals> totals() const;
};

// How one scanned path grew, as plain values: what the history (orvctl/history/Growth.h) finds out
// and the page draws. Texts are UTF-8 as in Model.h, sizes bytes, times milliseconds since 1970
// UTC.

struct GrowthPoint {
  std::int64_t time = 0;
  std::int64_t bytes = 0;
};

struct GrowthLine {
  std::string name;                 // of a directory: its path
  std::vector<GrowthPoint> points;  // in the order of time, one per scan that knows the figure
};

// What a straight line through the used space says. A range is where the slope lies with a
// probability of 95 %.
struct Trend {
  enum class Kind {
    NONE,     // too few scans, or they scatter so much that a line says nothing
    GROWING,  // the whole range is above 0
    FALLING   // the whole range is below 0
  };
  Kind kind = Kind::NONE;
  double bytesPerDay = 0;  // this and what follows only where there is a trend
  double lowest = 0;
  double highest = 0;
  // From the last scan on, for a filesystem that grows and whose capacity is known. The latest day
  // belongs to the lowest slope.
  struct Full {
    double days = 0;
    double earliest = 0;
    double latest = 0;
  };
  std::optional<Full> full;
};

struct GrowthSeries {
  std::string host;
  std::string path;           // the scanned path
  GrowthLine total;           // what lies below the path
  GrowthLine used;            // of its filesystem, what is reserved for root included; may be empty
  std::int64_t capacity = 0;  // of its filesystem at the last scan; 0 when not known
  Trend trend;                // of `used`
  std::vector<GrowthLine> directories;  // those that changed most, in the order of their change
};

}  // namespace orv::ctl
