# Sanitizers by one cache entry: FSORT_SANITIZE=address,undefined
# Counters of lines and branches: FSORT_COVERAGE=ON.
set(FSORT_SANITIZE "" CACHE STRING "Comma-separated sanitizers for every target")
option(FSORT_COVERAGE "Count the lines and branches of src/ that run" OFF)
function(fsort_sanitizers target)
  if(FSORT_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${FSORT_SANITIZE} -fno-omit-frame-pointer
                           -fno-sanitize-recover=all)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # Instrumented code makes gcc 12 see uninitialised members in the standard library's own headers.
      target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>)
    endif()
    target_link_options(${target} PUBLIC -fsanitize=${FSORT_SANITIZE})
  endif()
  if(FSORT_COVERAGE)
    # What comes from src/ is counted, in the tests too: of an inline function that several objects hold, the
    # linker keeps one copy, and that may be a test's.
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic -fprofile-filter-files=${PROJECT_SOURCE_DIR}/src/)
    target_link_options(${target} PRIVATE --coverage)
  endif()
endfunction()
