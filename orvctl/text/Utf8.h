#pragma once

#include <string>
#include <string_view>

// Names from the filesystem are any bytes; what reads exports wants UTF-8, and one bad byte makes a
// metrics file, a database row or a JSON document fail. This is the one rule for both directions.
namespace orv::ctl {

// `bytes` as UTF-8 text without anything that could disturb a reader: bytes that are no UTF-8,
// control characters of any charset and characters that turn the writing direction are shown byte
// by byte as \xNN (capital digits). A backslash stands for itself unless "xNN" follows it, which
// would read as such a byte: then it is shown as \x5C.
[[nodiscard]] std::string utf8Text(std::string_view bytes);

// The bytes that `utf8Text` made `text` from.
[[nodiscard]] std::string bytesOf(std::string_view text);

}  // namespace orv::ctl
