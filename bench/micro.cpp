// Micro-benchmarks of what the walk does per entry besides system calls: the parts whose shape was
// decided by figures. The counters say more than the times: compare rows of one run only.
//
//   micro [--benchmark_filter=REGEX]

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/accumulate/NMost.h"
#include "Scan/accumulate/TotalsAccums.h"
#include "Scan/entry/FileAttributes.h"
#include "Scan/results/DistributionRecords.h"
#include "Scan/results/EntryRecords.h"
#include "Scan/select/PathPattern.h"

namespace {

using namespace orv;

// Spread over 64 bits, the same on every run.
std::uint64_t scrambled(std::uint64_t value) {
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
  return value ^ (value >> 31);
}

std::size_t bytesInUse() {
  const struct mallinfo2 info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

// range 0: inodes in ascending order (0) or scattered (1). The counter is the table's memory.
void inodeTable(benchmark::State& state) {
  constexpr std::int64_t INODES = 1'000'000;
  double bytes = 0;
  for (auto _ : state) {
    const std::size_t before = bytesInUse();
    InodeTable table;
    for (std::int64_t i = 0; i < INODES; ++i)
      table.insert(Inode{state.range(0) == 0 ? i
                                             : static_cast<std::int64_t>(
                                                   scrambled(static_cast<std::uint64_t>(i)))});
    bytes = static_cast<double>(bytesInUse() - before);
  }
  state.counters["bytes/inode"] = bytes / INODES;
  state.SetItemsProcessed(state.iterations() * INODES);
}
BENCHMARK(inodeTable)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// range 0: the ranking's size; range 1: keys at random (0) or always rising, so that each enters
// (1).
void ranking(benchmark::State& state) {
  NMost<SFile> most(static_cast<std::int32_t>(state.range(0)));
  FileAttributes info;
  info.faName = "/a/path/of/some/length/to/be/copied/into/the/record/file.txt";
  std::int64_t offered = 0;
  for (auto _ : state) {
    ++offered;
    const std::int64_t key =
        state.range(1) == 1
            ? offered
            : static_cast<std::int64_t>(scrambled(static_cast<std::uint64_t>(offered)) >> 1);
    if (!most.mustAdd(key))
      continue;
    auto record = most.blank();
    static_cast<FileAttributes&>(*record) = info;
    most.add(std::move(record));
  }
}
BENCHMARK(ranking)->ArgsProduct({{20, 10'000}, {0, 1}});

void extension(benchmark::State& state) {
  const std::vector<std::string> paths = {"/tree/dir/file1.txt", "/tree/dir/file2",
                                          "/tree/dir/file3.tar.gz", "/tree/dir/file4.html"};
  std::size_t next = 0;
  std::string_view found;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        FileTypeAccum::extractExtensionName(paths[next++ % paths.size()], false, found));
}
BENCHMARK(extension);

void sizeBucket(benchmark::State& state) {
  std::uint64_t next = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        SizeRanges::bucket(static_cast<std::int64_t>(scrambled(++next) >> (next % 64))));
}
BENCHMARK(sizeBucket);

const char* const PATTERNS[] = {"/tree/dir1/file.txt", "%/file12*", "dir2/%/", "/*/%/dir1/*3*.c*",
                                "%/d*r?/%/file*[0-9].l*g"};

// range 0: index into PATTERNS, the plain shapes first.
void pathPattern(benchmark::State& state) {
  std::string error;
  const auto pattern = PathPattern::compile(PATTERNS[state.range(0)], PatternScope::PATH, error);
  const std::string paths[] = {"/work/tree/dir1/dir2/dir0/dir3/file1234.c",
                               "/work/tree/dir1/dir2/dir1/dir3/file981.log",
                               "/work/tree/dir1/dir2/dir1/dir3/file13.tar.gz"};
  std::size_t next = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(pattern->matches(paths[next++ % std::size(paths)]));
  state.SetLabel(PATTERNS[state.range(0)]);
}
BENCHMARK(pathPattern)->DenseRange(0, 4);

}  // namespace

BENCHMARK_MAIN();
