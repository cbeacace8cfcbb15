#include "Scan/results/DistributionRecords.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"

namespace orv {
namespace {

using Buckets = std::array<std::int64_t, SizeRanges::BUCKETS>;

void readBuckets(const std::string& text, Buckets& buckets) {
  std::size_t count = 0;
  std::size_t start = 0;
  while (start < text.size()) {
    if (count == buckets.size()) {
      TRACE(TR_MAX, "WARNING, Maximum array size reached -> ignoring all following tokens");
      return;
    }
    const std::size_t end = std::min(text.find(',', start), text.size());
    buckets[count++] = parseInteger(text.substr(start, end - start));
    start = end + 1;
  }
}

template <auto Member>
constexpr Field<SSizeDist> bucketsField(std::string_view name) {
  return {name,
          [](SSizeDist& record, const std::string& text) { readBuckets(text, record.*Member); },
          [](const SSizeDist& record) { return columnText(record.*Member); }};
}

// clang-format off
constexpr Field<SSizeDist> SIZE_FIELDS[] = {
    integerField<SSizeDist, &SSizeDist::szdFilesystemID>("szdFilesystemID"),
    integerField<SSizeDist, &SSizeDist::szdStatisticID> ("szdStatisticID"),
    bucketsField<&SSizeDist::szdSizes>                  ("szdSizes"),
    bucketsField<&SSizeDist::szdCounts>                 ("szdCounts"),
};
// clang-format on

// clang-format off
constexpr Column<STimeDist> TIME_COLUMNS[] = {
    column<STimeDist, &STimeDist::tdFilesystemID>("tdFilesystemID"),
    column<STimeDist, &STimeDist::tdStatisticID> ("tdStatisticID"),
    column<STimeDist, &STimeDist::tdType>        ("tdType"),
    column<STimeDist, &STimeDist::tdScanTime>    ("tdScanTime"),
    column<STimeDist, &STimeDist::tdAverageAge>  ("tdAverageAge"),
    column<STimeDist, &STimeDist::tdSizes>       ("tdSizes"),
    column<STimeDist, &STimeDist::tdCounts>      ("tdCounts"),
    column<STimeDist, &STimeDist::tdAccumCount>  ("tdAccumCount"),
    column<STimeDist, &STimeDist::tdHistType>    ("tdHistType"),
};
// clang-format on

}  // namespace

void SSizeDist::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames<SSizeDist>(SIZE_FIELDS));
}

void SSizeDist::printData(GenericPrint& print) const {
  print.printDataLine(fieldValues<SSizeDist>(SIZE_FIELDS, *this));
}

void SSizeDist::inititializeObject(const HeaderArray& refHeaderArray,
                                   const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  for (const auto& innerArray : refDataArray)
    checkSizes(refHeaderArray, innerArray,
               "ERROR: innerArray.size() != refHeaderArray.size(). OrvObjectCreationException "
               "exception will be thrown.");
  for (const auto& innerArray : refDataArray)
    readFields<SSizeDist>(SIZE_FIELDS, refHeaderArray, innerArray, *this);
}

void STimeDist::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<STimeDist>(TIME_COLUMNS));
}

void STimeDist::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<STimeDist>(TIME_COLUMNS, *this));
}

}  // namespace orv
