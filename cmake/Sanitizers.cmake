# ORV_SANITIZE names the sanitizers of a build, separated by commas ("address,undefined", "thread").
set(ORV_SANITIZE "" CACHE STRING "Sanitizers to build with")
if(ORV_SANITIZE)
  add_compile_options(-fsanitize=${ORV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ORV_SANITIZE})
endif()
