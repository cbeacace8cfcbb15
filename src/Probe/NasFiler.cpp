#include "Probe/NasFiler.h"

#include <netdb.h>
#include <sys/socket.h>

#include <array>
#include <map>

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// The first address in numeric text; `host` itself without one.
std::string resolve(const std::string& host) {
  addrinfo hints{};
  // One kind, or each address would come once for every kind of socket.
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found); error != 0) {
    TRACE(TR_MAX, "resolve %s: %s", host.c_str(), ::gai_strerror(error));
    return host;
  }
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> list(found, &::freeaddrinfo);
  std::array<char, NI_MAXHOST> text{};
  if (const int error = ::getnameinfo(list->ai_addr, list->ai_addrlen, text.data(), text.size(),
                                      nullptr, 0, NI_NUMERICHOST);
      error != 0) {
    TRACE(TR_MAX, "address of %s as text: %s", host.c_str(), ::gai_strerror(error));
    return host;
  }
  return text.data();
}

// clang-format off
constexpr Field<Domain> DOMAIN_ROWS[] = {
    integerField<Domain, &Domain::dmID>("dmID"),
    stringField<Domain, &Domain::dmName>("dmName"),
};

constexpr Field<NasFiler> FILER_ROWS[] = {
    integerField<NasFiler, &NasFiler::nasID>("nasID"),
    integerField<NasFiler, &NasFiler::nasComputerID>("nasComputerID"),
    integerField<NasFiler, &NasFiler::nasOsType>("nasOsType"),
    stringField<NasFiler, &NasFiler::nasName>("nasName"),
    stringField<NasFiler, &NasFiler::nasHostName>("nasHostName"),
    stringField<NasFiler, &NasFiler::nasAddress>("nasAddress"),
};
// clang-format on
constexpr std::span<const Field<Domain>> DOMAIN_FIELDS(DOMAIN_ROWS);
constexpr std::span<const Field<NasFiler>> FILER_FIELDS(FILER_ROWS);

}  // namespace

std::string InetAddress::getHostAddress(const std::string& host) {
  // A filer has many exports, and a resolver that gets no answer takes its time.
  static std::map<std::string, std::string> resolved;
  const auto found = resolved.find(host);
  return found != resolved.end() ? found->second
                                 : resolved.emplace(host, resolve(host)).first->second;
}

void Domain::inititializeObject(const HeaderArray& refHeaderArray, const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& row = firstRow(refDataArray);
  checkSizes(refHeaderArray, row);
  readFields(DOMAIN_FIELDS, refHeaderArray, row, *this);
}

void Domain::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(DOMAIN_FIELDS));
}

void NasFiler::inititializeObject(const HeaderArray& refHeaderArray,
                                  const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& row = firstRow(refDataArray);
  checkSizes(refHeaderArray, row);
  readFields(FILER_FIELDS, refHeaderArray, row, *this);
}

}  // namespace orv
