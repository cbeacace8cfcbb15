#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// How one scanned path grew, as plain values: what the history (orvctl/history/Growth.h) finds out
// and the page draws. Texts are UTF-8 as in Model.h, sizes bytes, times milliseconds since 1970
// UTC.
namespace orv::ctl {

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
