#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

// What a scan must find, computed from the published rules by a walk of its own. It shares nothing
// with the product: plain recursion, lstat by path, simulated rankings.
namespace orv::test {

struct OracleEntry {
  std::string path;
  int type = 0;
  std::int64_t size = 0;
  std::int64_t blocks = 0;
  std::int64_t accessed = 0;  // seconds
  std::int64_t modified = 0;  // seconds
  std::uint32_t uid = 0;
  std::uint32_t gid = 0;
  std::uint64_t links = 1;
  std::uint64_t inode = 0;
  std::uint32_t flags = 0;
};

// What a directory holds directly, or what an owner owns.
struct OracleTotals {
  OracleEntry entry;  // of a directory
  std::int64_t files = 0;
  std::int64_t directories = 0;
  std::int64_t total = 0;
  std::int64_t largest = 0;
  std::int64_t second = 0;
  std::array<std::int64_t, 8> sizes{};
  std::array<std::int64_t, 8> counts{};
};

struct OracleAges {
  std::array<std::int64_t, 10> sizes{};
  std::array<std::int64_t, 10> counts{};
  std::int64_t average = 0;
};

class Oracle final {
 public:
  // Which entries count; every one without.
  using Filter = std::function<bool(const OracleEntry&)>;

  // Walks `root`; every ranking keeps `keep` records, and ages count from `scanStart` (seconds).
  Oracle(const std::string& root, std::size_t keep, std::int64_t scanStart, Filter admits = {});

  std::int64_t files = 0;
  std::int64_t directories = 0;
  std::int64_t total = 0;
  std::array<std::int64_t, 8> sizes{};
  std::array<std::int64_t, 8> counts{};
  OracleAges accessed;
  OracleAges modified;
  std::map<std::uint32_t, OracleTotals> owners;
  std::map<std::uint32_t, OracleTotals> groups;
  std::vector<OracleEntry> largestFiles;
  std::vector<OracleEntry> leastAccessed;
  std::vector<OracleEntry> largestOrphans;
  std::vector<OracleEntry> oldestOrphans;
  std::vector<OracleTotals> largestDirectories;
  struct Extension {
    std::string name;
    std::int64_t files = 0;
    std::int64_t total = 0;
  };
  std::vector<Extension> extensions;  // highest total first

  // Every name that counts, in the order of the walk.
  std::vector<OracleEntry> entries;

  // The extension of a path by the published rule; empty for none.
  [[nodiscard]] static std::string extensionOf(const std::string& path);
  [[nodiscard]] static std::size_t sizeBucket(std::int64_t size);
};

}  // namespace orv::test
