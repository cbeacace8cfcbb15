#include "Scan/accumulate/FileTypeAccum.h"

#include <algorithm>
#include <vector>

#include "Scan/accumulate/Accumulator.h"
#include "Scan/accumulate/NMost.h"
#include "Scan/entry/FileType.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/walk/Scanner.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Off Windows, the longest extension in characters.
constexpr std::size_t EXTENSION_LIMIT = 6;

}  // namespace

FileTypeAccum::FileTypeAccum(std::int32_t proID, std::int32_t ftNumber)
    : Accumulator("FileTypeAccum"), m_proID(proID), m_ftNumber(ftNumber) {
  TRACE_METHOD("FileTypeAccum(int proID, bool winOS, int ftNumber)");
}

FileTypeAccum::~FileTypeAccum() = default;

bool FileTypeAccum::extractExtensionName(std::string_view name, bool winOS,
                                         std::string_view& ext) noexcept {
  // From the end: extensions are short and paths are not.
  for (std::size_t i = name.size(); i-- > 1;) {
    const char c = name[i];
    const std::size_t behind = name.size() - 1 - i;
    if (c == '.') {
      if (behind == 0 || name[i - 1] == '/')
        return false;
      ext = name.substr(i + 1);
      return true;
    }
    if (c == '/' || c == '\\' || c == ' ')
      return false;
    // The two ends of the search differ by platform and both are kept: results name types by them.
    if (winOS ? static_cast<unsigned char>(c) > 126 : behind >= EXTENSION_LIMIT)
      return false;
  }
  return false;
}

void FileTypeAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (!areGiven(pScanner, pInfo) || pInfo->faType != FT_REGULAR)
    return;
  std::string_view ext;
  if (!extractExtensionName(pInfo->faName, m_winOS, ext))
    return;
  FileTypeSummary& summary = summaryOf(ext, *pScanner);
  ++summary.fileCount;
  addSaturating(summary.spaceUsed, pInfo->faLength);
}

FileTypeSummary& FileTypeAccum::summaryOf(std::string_view ext, const Scanner& scanner) {
  if (m_last != nullptr && m_last->first == ext)
    return *m_last->second;
  auto found = m_summaries.find(ext);
  if (found == m_summaries.end()) {
    auto summary = std::make_unique<FileTypeSummary>();
    summary->profileID = m_proID;
    summary->filesystemID = scanner.filesystem().fsID;
    summary->fileType = &scanner.fileTypes().entry(ext);
    found = m_summaries.emplace(ext, std::move(summary)).first;
  }
  m_last = &*found;
  return *found->second;
}

void FileTypeAccum::finish(CuStatResults* results) {
  TRACE_METHOD("finish(...)");
  if (results == nullptr) {
    TRACE(TR_MAX, "Parameter <pResults> is NULL. terminating method");
    return;
  }
  if (m_finished)
    return;
  // Ranked in the order of the text, so that which of two equal types is kept does not depend on
  // hashing.
  std::vector<Summaries::value_type*> ordered;
  for (Summaries::value_type& entry : m_summaries)
    ordered.push_back(&entry);
  std::sort(ordered.begin(), ordered.end(),
            [](const auto* a, const auto* b) { return a->first < b->first; });

  NMost<FileTypeSummary> most(m_ftNumber);
  for (Summaries::value_type* entry : ordered)
    if (most.mustAdd(entry->second->spaceUsed))
      most.add(std::move(entry->second));
  results->srFileTypes = most.takeChain([](FileTypeSummary&) {});
  m_last = nullptr;
  m_summaries.clear();
  m_finished = true;
}

}  // namespace orv
