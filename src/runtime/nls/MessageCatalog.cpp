#include "runtime/nls/MessageCatalog.h"

#include <langinfo.h>

#include <cerrno>
#include <clocale>

#include "runtime/ut/Trace.h"

namespace orv {
namespace {
constexpr int MESSAGE_SET = 1;
}

bool MessageCatalog::open(const std::string& directory, const std::string& file,
                          const std::string& component) {
  close();
  // Character handling follows the user's locale where it is UTF-8, else C.UTF-8: names are UTF-8
  // far more often than not, and numbers are never formatted through the locale.
  if (std::setlocale(LC_CTYPE, "") == nullptr || std::string(::nl_langinfo(CODESET)) != "UTF-8")
    std::setlocale(LC_CTYPE, "C.UTF-8");
  const std::string path = directory + "/" + file;
  m_catalog = ::catopen(path.c_str(), NL_CAT_LOCALE);
  m_isOpen = m_catalog != reinterpret_cast<nl_catd>(-1);
  TRACE(TR_GENERAL, "message catalog %s of component %s: %s", path.c_str(), component.c_str(),
        m_isOpen ? "open" : "not there");
  return m_isOpen;
}

void MessageCatalog::close() noexcept {
  if (m_isOpen)
    ::catclose(m_catalog);
  m_isOpen = false;
}

std::string MessageCatalog::text(int number) const {
  return m_isOpen ? ::catgets(m_catalog, MESSAGE_SET, number, "") : "";
}

}  // namespace orv
