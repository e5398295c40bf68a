# One place for warning flags: every target of the project calls kern83_set_warnings.
function(kern83_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wnon-virtual-dtor -Wimplicit-fallthrough)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wshadow=local)  # clang (fuzz preset) has no such option
  endif()
  if(KERN83_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
