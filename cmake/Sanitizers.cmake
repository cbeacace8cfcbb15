# ORV_SANITIZE names the sanitizers of a build, separated by commas ("address,undefined", "thread").
set(ORV_SANITIZE "" CACHE STRING "Sanitizers to build with")
if(ORV_SANITIZE)
  add_compile_options(-fsanitize=${ORV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  # With the sanitizers' checks in between GCC 12 cannot see that std::regex sets what it reads.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  if(ORV_SANITIZE STREQUAL "thread")
    # Fences, which it does not see, order what other processes read.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
  endif()
  add_link_options(-fsanitize=${ORV_SANITIZE})
endif()
