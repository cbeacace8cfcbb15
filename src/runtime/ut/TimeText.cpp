#include "runtime/ut/TimeText.h"

#include <sys/time.h>

#include <ctime>

#include "runtime/ut/Text.h"

namespace orv {

std::string timeText() {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  tm local{};
  ::localtime_r(&now.tv_sec, &local);
  char dateAndTime[32];
  const std::size_t length =
      std::strftime(dateAndTime, sizeof dateAndTime, "%Y-%m-%d %H:%M:%S", &local);
  return std::string(dateAndTime, length) +
         formatText(".%03lu", static_cast<unsigned long>(now.tv_usec / 1000));
}

}  // namespace orv
