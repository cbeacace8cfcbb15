#pragma once

#include <string_view>

// The files of orvctl/export/page and the chart library, compiled in as gzip compressed them (see
// CMakeLists.txt).
namespace orv::ctl {

extern const std::string_view PAGE_HTML;
extern const std::string_view PAGE_CSS;
extern const std::string_view PAGE_JS;       // tables, charts, page: in this order
extern const std::string_view PAGE_LIBRARY;  // d3

}  // namespace orv::ctl
