# Warnings for the project's own targets; errors with ZORV_WERROR (CI).
function(zorv_set_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /utf-8 $<$<BOOL:${ZORV_WERROR}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wformat=2 $<$<BOOL:${ZORV_WERROR}>:-Werror>)
  endif()
endfunction()
