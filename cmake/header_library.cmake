# launcher_header_library(<name> <package> <header> [ALSO <header>...] [OPTIONAL])
#
# Makes the target launcher_<name> of a library that is headers alone: <header>, and what else lies beside it, by
# their names in the include folder. Programs, tests and measurements use such libraries; launcher.dll does not.
# LAUNCHER_<NAME>_DIR names the folder when it is not the usual one. Without the library the configuration ends;
# with OPTIONAL there is then no target.
function(launcher_header_library name package header)
  if(TARGET launcher_${name})
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 3 arg OPTIONAL "" ALSO)
  string(TOUPPER "LAUNCHER_${name}_DIR" folder)
  find_path(
    ${folder} ${header}
    PATHS /usr/include
    NO_CMAKE_FIND_ROOT_PATH
    DOC "Folder that holds ${header} (Debian: package ${package})")
  if(NOT ${folder})
    if(arg_OPTIONAL)
      return()
    endif()
    message(FATAL_ERROR "${header} is missing: install it (Debian: package ${package}), set ${folder}, or leave "
                        "programs and tests out with LAUNCHER_BUILD_PROGRAMS=OFF and LAUNCHER_BUILD_TESTS=OFF")
  endif()

  # A copy, because the folder may be /usr/include: a cross compiler that looks there takes the headers of Linux for
  # those of Windows.
  set(copy "${PROJECT_BINARY_DIR}/include")
  foreach(item IN LISTS header arg_ALSO)
    cmake_path(GET item PARENT_PATH parent)
    if(parent)
      file(COPY "${${folder}}/${parent}" DESTINATION "${copy}")
    else()
      file(COPY "${${folder}}/${item}" DESTINATION "${copy}")
    endif()
  endforeach()
  add_library(launcher_${name} INTERFACE)
  target_include_directories(launcher_${name} SYSTEM INTERFACE "${copy}")
endfunction()
