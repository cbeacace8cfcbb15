# Makes manual pages and completion in OUTPUT:
#   cmake -DTOOL=orvctl_documents -DPANDOC=pandoc -DFILTER=ManualPage.lua -DDOCS=docs -DOUTPUT=dir -DVERSION=v -P Documents.cmake
# The pages of orvctl are what TOOL writes of its commands, with docs/orvctl.md behind the first.
# The other pages are those of docs, here with their names and what "man -k" says of them.
set(PAGES
  "scan.8|scan.md|the filesystem scan job"
  "orvscan-definition.5|definition-format.md|what a scan job is told"
  "orvscan-result.5|result-format.md|what a scan job found"
  "orvscan-where.7|where-clauses.md|which entries a scan counts")

# page(NAME.SECTION files...): joins Markdown files into one manual page.
function(page name)
  string(REGEX MATCH "^(.*)\\.([0-9])$" matched ${name})
  set(title ${CMAKE_MATCH_1})
  set(section ${CMAKE_MATCH_2})
  string(TOUPPER ${title} upper)
  file(MAKE_DIRECTORY ${OUTPUT}/man/man${section})
  execute_process(
    COMMAND ${PANDOC} --standalone --from=markdown-smart-tex_math_dollars+lists_without_preceding_blankline --to=man --lua-filter=${FILTER}
      --metadata=title=${upper} --metadata=section=${section} --metadata=footer=orvscan\ ${VERSION}
      --metadata=header=orvscan --output=${OUTPUT}/man/man${section}/${name} ${ARGN}
    COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${OUTPUT})
set(sources ${OUTPUT}/sources)
execute_process(COMMAND ${TOOL} ${sources} COMMAND_ERROR_IS_FATAL ANY)
foreach(shell bash zsh fish)
  file(RENAME ${sources}/${shell} ${OUTPUT}/${shell})
endforeach()
file(GLOB commands ${sources}/man/*.md)
foreach(source IN LISTS commands)
  get_filename_component(name ${source} NAME)
  string(REGEX REPLACE "\\.md$" "" name ${name})
  if(name STREQUAL orvctl.1)
    page(${name} ${source} ${DOCS}/orvctl.md)
  else()
    page(${name} ${source})
  endif()
endforeach()
foreach(row IN LISTS PAGES)
  string(REPLACE "|" ";" row "${row}")
  list(GET row 0 name)
  list(GET row 1 file)
  list(GET row 2 text)
  string(REGEX REPLACE "\\.[0-9]$" "" title ${name})
  file(WRITE ${sources}/${name}.md "## NAME\n\n${title} - ${text}\n\n## DESCRIPTION\n\n")
  page(${name} ${sources}/${name}.md ${DOCS}/${file})
endforeach()
file(TOUCH ${OUTPUT}/made)
