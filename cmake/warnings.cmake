# Strict in this project's own builds (ZEP3_WERROR is on in every preset), never forced on a project that embeds it.
function(zep3_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${ZEP3_WERROR}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wdouble-promotion $<$<BOOL:${ZEP3_WERROR}>:-Werror>)
  endif()
endfunction()

# Without those of conversions, which tests are full of.
function(zep3_test_warnings target)
  if(NOT MSVC)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow $<$<BOOL:${ZEP3_WERROR}>:-Werror>)
  endif()
endfunction()
