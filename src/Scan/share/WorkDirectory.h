#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Scan/share/StateFile.h"

namespace orv::share {

// The directory that a scan by several walks works in: on a filesystem that all of them share,
// closed to everybody but the scan's user. A plain value; every process of the scan has its own.
class WorkDirectory final {
 public:
  explicit WorkDirectory(std::string path);

  // Makes what is missing in it. Throws StateError when it is not there, is not the user's own or
  // is open to others.
  void prepare() const;

  [[nodiscard]] const std::string& path() const noexcept { return m_path; }
  // Put there by whoever starts the scan: the job's definition and mount table.
  [[nodiscard]] std::string definition() const { return m_path + "/definition.dat"; }
  [[nodiscard]] std::string mountTable() const { return m_path + "/mnttab"; }
  // What the run is: a file with a header only.
  [[nodiscard]] std::string runFile() const { return m_path + "/run"; }
  // What a share is to walk; the state that its walk leaves; the same once it was taken over, so
  // that a second walk of the share, however late, changes nothing any more.
  [[nodiscard]] std::string share(std::uint32_t number) const;
  [[nodiscard]] std::string state(std::uint32_t number) const;
  [[nodiscard]] std::string accepted(std::uint32_t number) const;
  [[nodiscard]] std::string merged(std::uint32_t number) const;
  // What a worker is to do, and that it has begun (Worker.h).
  [[nodiscard]] std::string order(std::uint32_t worker) const;
  [[nodiscard]] std::string ready(std::uint32_t worker) const;
  [[nodiscard]] std::string log(const std::string& name) const;
  // Held by the coordinator while it works, and says who it is: "<pid> <node> <run>".
  [[nodiscard]] std::string coordinator() const { return m_path + "/coordinator"; }
  // A copy of the message catalog, which nodes may not have.
  [[nodiscard]] std::string catalogDirectory() const { return m_path + "/nls"; }
  // What the walk of that log said last; empty when it said nothing.
  [[nodiscard]] std::string lastWords(const std::string& name) const;
  // For files without names.
  [[nodiscard]] std::string temporary() const { return m_path + "/tmp"; }

  // The numbers of the shares that were written; of those whose state is there and was not taken
  // over; of all workers that had an order, and of those that have begun. Ascending. Throw
  // StateError.
  [[nodiscard]] std::vector<std::uint32_t> shares() const { return numbers("shares"); }
  [[nodiscard]] std::vector<std::uint32_t> states() const { return numbers("states"); }
  [[nodiscard]] std::vector<std::uint32_t> workers() const { return numbers("orders"); }
  [[nodiscard]] std::vector<std::uint32_t> readyWorkers() const { return numbers("ready"); }

 private:
  [[nodiscard]] std::vector<std::uint32_t> numbers(const char* folder) const;
  [[nodiscard]] std::string file(const char* folder, std::uint32_t number) const;

  std::string m_path;
};

// A share: what is said of its walk, and the directories that it begins with, in the order of one
// walk; none for the scan root.
struct Share {
  Header header;
  std::vector<LeftOver> roots;
};

// Both throw StateError.
void writeShare(const std::string& path, const Share& share);
[[nodiscard]] Share readShare(const std::string& path, const std::string& run);

// The number of a share or worker, as it stands on a command line. Throws StateError for a text
// that is none.
[[nodiscard]] std::uint32_t numberOf(std::string_view text);

// The name of this machine.
[[nodiscard]] std::string nodeName();

}  // namespace orv::share
