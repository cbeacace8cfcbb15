#pragma once

#include <functional>
#include <string>

#include "Common/format/GenericPrint.h"
#include "support/TempDir.h"

namespace orv::test {

// What `lines` prints, read back from the file.
inline std::string printed(const std::function<void(GenericPrint&)>& lines) {
  const TempDir dir;
  GenericPrint print(dir.file("out"));
  lines(print);
  print.close();
  return readFile(dir.file("out"));
}

}  // namespace orv::test
