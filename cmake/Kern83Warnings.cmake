# One place for warning flags: every target of the project calls kern83_set_warnings.
function(kern83_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow=local -Wnon-virtual-dtor
                                           -Wimplicit-fallthrough)
  if(KERN83_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
