# How the library and the programs are compiled and linked: hardened, and the same bytes from every directory.

# How far a release is optimised is said once for each target or source, not by the build type, too.
if(PROJECT_IS_TOP_LEVEL AND NOT MSVC)
  foreach(language C CXX)
    string(REGEX REPLACE " *-O[0-3s]" "" CMAKE_${language}_FLAGS_RELEASE "${CMAKE_${language}_FLAGS_RELEASE}")
  endforeach()
endif()

# launcher_optimize(<target> <level>): how far a release of it is optimised.
function(launcher_optimize target level)
  if(NOT MSVC)
    target_compile_options(${target} PRIVATE $<$<AND:$<COMPILE_LANGUAGE:C,CXX>,$<CONFIG:Release>>:${level}>)
  endif()
endfunction()

# launcher_compile_together(<target> <count>): compiles so many of its sources as one, all of them when 0. The
# parsers of options and JSON take 15 of the 20 seconds of such a source, and then do so once. Clang compiles each
# source by itself, and so sees an include that is missing.
function(launcher_compile_together target count)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${count})
  endif()
endfunction()

# launcher_harden(<target>): for everything that is delivered, the DLL's objects and those of the programs. Its
# release has to be optimised.
function(launcher_harden target)
  if(MSVC OR NOT WIN32)
    return()
  endif()
  set(all
      -g
      -ffunction-sections
      -fdata-sections
      -fstack-protector-strong
      # clang 14 has this for experiments only.
      $<$<CXX_COMPILER_ID:GNU>:-ftrivial-auto-var-init=zero>
      # Paths in debug information. The last map that fits wins, and the build
      # folder usually lies in the source folder.
      -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
      -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build)
  # The checked C library calls need an optimising compilation.
  set(release -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  target_compile_options(
    ${target} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:${all}>"
                      "$<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CONFIG:Release>>:${release}>")
  target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
endfunction()

# launcher_link_windows(<target>): every Windows program and the DLL carry their
# run-time with them.
function(launcher_link_windows target)
  if(MSVC OR NOT WIN32)
    return()
  endif()
  # -fstack-protector-strong at the link brings the library of the protector and
  # of the checked calls.
  target_link_options(
    ${target}
    PRIVATE
    -static
    -fstack-protector-strong
    -Wl,--gc-sections
    -Wl,--no-insert-timestamp
    -Wl,--dynamicbase
    -Wl,--high-entropy-va
    -Wl,--nxcompat)
endfunction()

# launcher_split_debug_symbols(<target>): moves the symbols from the DLL or program
# to <its name>.debug beside it; it names that file.
function(launcher_split_debug_symbols target)
  if(MSVC OR NOT WIN32)
    return()
  endif()
  add_custom_command(
    TARGET ${target}
    POST_BUILD
    # objcopy writes this time into the files instead of that of the build.
    COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY} --only-keep-debug
            $<TARGET_FILE:${target}> $<TARGET_FILE_NAME:${target}>.debug
    COMMAND
      ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY} --strip-all
      --add-gnu-debuglink=$<TARGET_FILE_NAME:${target}>.debug $<TARGET_FILE:${target}>
    WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
    COMMENT "Splitting debug symbols from $<TARGET_FILE_NAME:${target}>"
    VERBATIM)
  set_property(TARGET ${target} APPEND PROPERTY ADDITIONAL_CLEAN_FILES
                                                $<TARGET_FILE:${target}>.debug)
endfunction()

# launcher_deliver(<program> <description>): a program that people get, hardened like the DLL, with a version
# resource and its symbols in a file of their own.
function(launcher_deliver program description)
  launcher_optimize(${program} -Os)
  launcher_harden(${program})
  # The compiler's own loads a cryptographic provider at each start.
  set(guard "${PROJECT_SOURCE_DIR}/core/runtime/stack_guard.cpp")
  target_sources(${program} PRIVATE "${guard}")
  set_source_files_properties("${guard}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  get_target_property(program_name ${program} OUTPUT_NAME)
  if(NOT program_name)
    set(program_name ${program})
  endif()
  set(program_description "${description}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/program.rc.in" "${PROJECT_BINARY_DIR}/${program}.rc" @ONLY)
  target_sources(${program} PRIVATE "${PROJECT_BINARY_DIR}/${program}.rc")
  launcher_split_debug_symbols(${program})
endfunction()
