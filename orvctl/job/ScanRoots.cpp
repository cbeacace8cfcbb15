#include "orvctl/job/ScanRoots.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "runtime/ut/ScanPaths.h"

namespace orv::ctl {
namespace {

// How long examining a directory may take on a mount that is not expected to hang.
constexpr int LOCAL_LIMIT = 60;

// Whether the mount of a typed path may hang, told without touching the path.
bool mayHang(const std::string& typed, const MountTable& mounts) {
  std::error_code ignored;
  const std::string path = std::filesystem::absolute(typed, ignored).lexically_normal();
  const MountPoint* mount = mounts.of(withoutTrailingSlash(path));
  return mount != nullptr && mount->mayHang();
}

class RootFinder final {
 public:
  explicit RootFinder(const RootsRequest& request)
      : m_request(request), m_mounts(MountTable::read()) {}

  ScanRoots find() {
    for (const std::string& path : m_request.paths)
      add(examine(path));
    if (m_request.all)
      addFilesystems();
    if (m_found.roots.empty())
      throw CtlError("cannot scan this host: none of its filesystems could be examined");
    requireWatched();
    const bool anyMayHang = std::ranges::any_of(m_found.roots, &RootFacts::mayHang);
    m_found.timeout = m_request.timeout.value_or(anyMayHang ? DEFAULT_TIMEOUT : 0);
    return std::move(m_found);
  }

 private:
  RootFacts examine(const std::string& path) {
    const bool severalRoots = m_request.all || m_request.paths.size() > 1;
    const int limit =
        m_request.timeout.value_or(mayHang(path, m_mounts) ? DEFAULT_TIMEOUT : LOCAL_LIMIT);
    return examineRoot({path, m_request.watch, m_request.depth, !severalRoots}, m_mounts,
                       std::chrono::seconds(limit));
  }

  // One that cannot be examined does not keep the others from being scanned.
  void addFilesystems() {
    for (const MountPoint* mount : m_mounts.filesystems(m_request.network)) {
      try {
        add(examine(mount->path));
      } catch (const CtlError& error) {
        m_found.notes.emplace_back(error.what());
        m_found.complete = false;
      }
    }
  }

  // A root inside another on the same device is scanned with it: counted twice, it would make the
  // total wrong.
  void add(RootFacts facts) {
    const auto isInside = [](const RootFacts& inner, const RootFacts& outer) {
      return inner.device == outer.device && liesIn(inner.path, outer.path);
    };
    const auto note = [this](const RootFacts& inner, const RootFacts& outer) {
      if (inner.path != outer.path)
        m_found.notes.push_back(fmt::format("{} lies in {} and is scanned with it",
                                            printable(inner.path), printable(outer.path)));
    };
    for (const RootFacts& other : m_found.roots)
      if (isInside(facts, other)) {
        note(facts, other);
        return;
      }
    std::erase_if(m_found.roots, [&](const RootFacts& other) {
      if (isInside(other, facts)) {
        note(other, facts);
        return true;
      }
      return false;
    });
    m_found.roots.push_back(std::move(facts));
  }

  void requireWatched() const {
    for (const std::string& typed : m_request.watch)
      if (std::ranges::all_of(m_found.roots, [&typed](const RootFacts& root) {
            return std::ranges::find(root.notWatched, typed) != root.notWatched.end();
          }))
        throw CtlError(
            fmt::format("cannot watch {}: it lies in nothing that is scanned", printable(typed)));
  }

  const RootsRequest& m_request;
  MountTable m_mounts;
  ScanRoots m_found;
};

}  // namespace

ScanRoots findRoots(const RootsRequest& request) {
  return RootFinder(request).find();
}

}  // namespace orv::ctl
