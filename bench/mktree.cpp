// Makes a deterministic benchmark tree: the same arguments give the same tree on every machine.
//
//   mktree DIR ENTRIES [DEPTH [FLAT [LINKS]]]
//
// ENTRIES files and directories with long-tailed directory sizes; DEPTH adds a chain of that many
// nested directories, FLAT one directory with that many files, LINKS that many hard links to files
// of the tree. Files are empty but for one in eight, which is sparse with a long-tailed size.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/ut/UniqueFd.h"

namespace {

// A small generator of its own, so that trees do not depend on the standard library's.
class Random final {
 public:
  std::uint64_t next() noexcept {
    m_state ^= m_state << 13;
    m_state ^= m_state >> 7;
    m_state ^= m_state << 17;
    return m_state;
  }
  // 0 to 1, 1 left out.
  double fraction() noexcept { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

 private:
  std::uint64_t m_state = 0x9E3779B97F4A7C15ULL;
};

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

void makeDirectory(const std::string& path) {
  if (::mkdir(path.c_str(), 0755) != 0)
    fail("mkdir " + path);
}

void makeFile(const std::string& path, off_t size) {
  const orv::UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!fd || (size > 0 && ::ftruncate(fd.get(), size) != 0))
    fail("create " + path);
}

const char* const EXTENSIONS[] = {".txt", ".c", ".log", ".jpeg", ".o", "", ".html", ".tar.gz"};

class TreeMaker final {
 public:
  explicit TreeMaker(std::string root) : m_root(std::move(root)) { makeDirectory(m_root); }

  void makeEntries(std::int64_t entries) {
    m_open.push_back(m_root + "/tree");
    makeDirectory(m_open.front());
    std::int64_t made = 1;
    while (made < entries && !m_open.empty()) {
      const std::string directory = m_open.front();
      m_open.pop_front();
      // Pareto-distributed number of files: most directories are small, a few very large.
      const double tail = 3.0 / std::pow(1.0 - m_random.fraction(), 0.9);
      const auto files = static_cast<std::int64_t>(std::min(tail, 20'000.0));
      for (std::int64_t i = 0; i < files && made < entries; ++i, ++made)
        makeNumberedFile(directory, made);
      const auto subdirectories = 1 + static_cast<int>(m_random.next() % 4);
      for (int i = 0; i < subdirectories && made < entries; ++i, ++made) {
        m_open.push_back(directory + "/dir" + std::to_string(i));
        makeDirectory(m_open.back());
      }
    }
  }

  void makeChain(int depth) {
    std::string path = m_root + "/chain";
    makeDirectory(path);
    for (int i = 1; i < depth; ++i) {
      path += "/d" + std::to_string(i);
      makeDirectory(path);
      makeFile(path + "/file.txt", i);
    }
  }

  void makeFlat(std::int64_t entries) {
    const std::string path = m_root + "/flat";
    makeDirectory(path);
    for (std::int64_t i = 0; i < entries; ++i)
      makeNumberedFile(path, i);
  }

  void makeLinks(std::int64_t links) {
    const std::string path = m_root + "/links";
    makeDirectory(path);
    for (std::int64_t i = 0; i < links && !m_targets.empty(); ++i) {
      const std::string& target = m_targets[static_cast<std::size_t>(i) % m_targets.size()];
      const std::string name = path + "/link" + std::to_string(i);
      if (::link(target.c_str(), name.c_str()) != 0)
        fail("link " + name);
    }
  }

 private:
  void makeNumberedFile(const std::string& directory, std::int64_t number) {
    const std::uint64_t draw = m_random.next();
    const off_t size =
        draw % 8 == 0 ? static_cast<off_t>(16.0 / std::pow(1.0 - m_random.fraction(), 1.5)) : 0;
    const std::string path =
        directory + "/file" + std::to_string(number) + EXTENSIONS[draw / 8 % 8];
    makeFile(path, std::min<off_t>(size, 1L << 33));
    if (number % 50 == 0 && m_targets.size() < 20'000)
      m_targets.push_back(path);
  }

  std::string m_root;
  Random m_random;
  std::deque<std::string> m_open;
  std::vector<std::string> m_targets;
};

std::int64_t number(int argc, char** argv, int index) {
  return argc > index ? std::strtol(argv[index], nullptr, 10) : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: mktree DIR ENTRIES [DEPTH [FLAT [LINKS]]]\n");
    return 2;
  }
  try {
    TreeMaker maker(argv[1]);
    maker.makeEntries(number(argc, argv, 2));
    if (const auto depth = number(argc, argv, 3); depth > 0)
      maker.makeChain(static_cast<int>(depth));
    if (const auto flat = number(argc, argv, 4); flat > 0)
      maker.makeFlat(flat);
    if (const auto links = number(argc, argv, 5); links > 0)
      maker.makeLinks(links);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mktree: %s\n", error.what());
    return 1;
  }
  return 0;
}
