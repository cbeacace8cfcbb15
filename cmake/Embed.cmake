# Writes a source file that defines one std::string_view per NAME=FILES, which is the files joined
# by "+", compressed by gzip:
#   cmake -DOUTPUT=x.cpp -DINCLUDE=header -DNAMESPACE=a::b "-DPARTS=NAME=file+file NAME=file" -P Embed.cmake
set(source "// Made by cmake/Embed.cmake.\n#include \"${INCLUDE}\"\n\nnamespace ${NAMESPACE} {\n\n")
separate_arguments(PARTS)
foreach(part IN LISTS PARTS)
  string(REGEX MATCH "^([A-Z_]+)=(.*)$" matched "${part}")
  set(name ${CMAKE_MATCH_1})
  string(REPLACE "+" ";" files "${CMAKE_MATCH_2}")
  execute_process(COMMAND cat ${files} COMMAND gzip -9n OUTPUT_FILE "${OUTPUT}.gz" COMMAND_ERROR_IS_FATAL ANY)
  file(READ "${OUTPUT}.gz" bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND source "static constexpr char ${name}_BYTES[] = {${bytes}};\n"
    "const std::string_view ${name}(${name}_BYTES, sizeof ${name}_BYTES);\n\n")
endforeach()
file(WRITE "${OUTPUT}" "${source}}  // namespace ${NAMESPACE}\n")
