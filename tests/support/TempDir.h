#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace orv::test {

// A directory of its own under the system's temporary directory, removed with everything in it.
class TempDir final {
 public:
  TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "orvtest.XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("mkdtemp " + name);
    m_path = name;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  [[nodiscard]] const std::string& path() const noexcept { return m_path; }
  [[nodiscard]] std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

inline void writeFile(const std::string& path, std::string_view text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  if (!out.flush())
    throw std::runtime_error("cannot write " + path);
}

}  // namespace orv::test
