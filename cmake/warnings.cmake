# launcher_enable_warnings(<target>): the project's own warnings. Never put on a
# target's interface, and off when another project embeds this one.
function(launcher_enable_warnings target)
  if(NOT PROJECT_IS_TOP_LEVEL)
    return()
  endif()
  if(MSVC)
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:C,CXX>:/W4 /permissive- /utf-8>)
    if(LAUNCHER_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:C,CXX>:/WX>)
    endif()
    return()
  endif()

  set(common
      -Wall
      -Wextra
      -Wpedantic
      -Wcast-align
      -Wcast-qual
      -Wconversion
      -Wdouble-promotion
      -Wformat=2
      -Wimplicit-fallthrough
      -Wmissing-declarations
      -Wshadow
      -Wsign-conversion
      -Wundef
      -Wunused)
  set(cxx
      -Wextra-semi
      -Wnon-virtual-dtor
      -Wold-style-cast
      -Woverloaded-virtual
      -Wsuggest-override)
  set(gnu -Wduplicated-branches -Wduplicated-cond -Wlogical-op)
  if(LAUNCHER_WARNINGS_AS_ERRORS)
    list(APPEND common -Werror)
  endif()
  target_compile_options(
    ${target}
    PRIVATE "$<$<COMPILE_LANGUAGE:C,CXX>:${common}>" "$<$<COMPILE_LANGUAGE:CXX>:${cxx}>"
            "$<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:${gnu}>")
endfunction()
