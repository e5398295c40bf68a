# One place for warning flags: every target of the project calls kern83_set_warnings. Under clang the
# thread-safety analysis checks the lock annotations (core/ThreadAnnotations.h).
function(kern83_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wnon-virtual-dtor -Wimplicit-fallthrough
                                           $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow-uncaptured-local>
                                           $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
  if(KERN83_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
