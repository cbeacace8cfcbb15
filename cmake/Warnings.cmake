# Interface target that every target of the project links: language level, warnings, include root.
option(ORV_WERROR "Take warnings for errors" ON)
add_library(orv_options INTERFACE)
target_compile_features(orv_options INTERFACE cxx_std_20)
target_compile_options(orv_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
  $<$<BOOL:${ORV_WERROR}>:-Werror>
  # GCC 12 finds overlapping copies in inlined std::string operations that have none.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  # Trace lines show source paths relative to the project.
  -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)
target_compile_definitions(orv_options INTERFACE _FILE_OFFSET_BITS=64 _GNU_SOURCE)
target_include_directories(orv_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
