# Sanitizers by one cache entry: FSORT_SANITIZE=address,undefined
set(FSORT_SANITIZE "" CACHE STRING "Comma-separated sanitizers for every target")
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
endfunction()
