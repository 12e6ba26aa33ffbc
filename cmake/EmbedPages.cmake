# Turns the manual's pages into a C++ source, so that the tool can show them without any file beside it.
#   cmake -DROOT=<project> -DOUTPUT=<file> -P EmbedPages.cmake
# With FSORT_PAGES_ONLY set and included instead, it only lists the pages in FSORT_PAGES.
if(FSORT_PAGES_ONLY)
  set(FSORT_CONFIGURE_DEPENDS CONFIGURE_DEPENDS)
endif()
file(GLOB FSORT_PAGES RELATIVE "${ROOT}/docs" ${FSORT_CONFIGURE_DEPENDS} "${ROOT}/docs/options/*.md" "${ROOT}/docs/options/tool/*.md"
     "${ROOT}/docs/help/*.md")
list(APPEND FSORT_PAGES COMMAND-LINE.md KEYS.md MESSAGES.md RECORDS.md)
if(FSORT_PAGES_ONLY)
  return()
endif()

set(source "// Made from docs/ by cmake/EmbedPages.cmake.\n#include \"pages.h\"\n\nnamespace fsort_tool {\n\n")
string(APPEND source "extern const Page kPages[] = {\n")
foreach(page IN LISTS FSORT_PAGES)
  file(READ "${ROOT}/docs/${page}" text)
  if(text MATCHES "\\)page\"")
    message(FATAL_ERROR "${page} holds the mark that ends a page")
  endif()
  string(APPEND source "    {\"${page}\", R\"page(${text})page\"},\n")
endforeach()
list(LENGTH FSORT_PAGES count)
string(APPEND source "};\nextern const std::size_t kPageCount = ${count};\n\n}  // namespace fsort_tool\n")
file(WRITE "${OUTPUT}" "${source}")
