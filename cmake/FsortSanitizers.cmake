# Sanitizers by one cache entry: FSORT_SANITIZE=address,undefined
set(FSORT_SANITIZE "" CACHE STRING "Comma-separated sanitizers for every target")
function(fsort_sanitizers target)
  if(FSORT_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${FSORT_SANITIZE} -fno-omit-frame-pointer
                           -fno-sanitize-recover=all)
    target_link_options(${target} PUBLIC -fsanitize=${FSORT_SANITIZE})
  endif()
endfunction()
