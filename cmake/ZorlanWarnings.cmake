# Warning flags shared by every target of the project.
function(zorlan_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(ZORLAN_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
