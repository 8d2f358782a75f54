# Programs for Microsoft's C++ ABI, made by clang and lld alone: neither a Windows
# SDK nor Microsoft's run-time is needed, and none is there.
find_program(LAUNCHER_MICROSOFT_CLANG NAMES clang++ clang++-19 clang++-16 clang++-14)
find_program(LAUNCHER_MICROSOFT_LINK NAMES lld-link lld-link-19 lld-link-16 lld-link-14)

# launcher_add_microsoft_program(<name> <sources>...): a console program that begins
# at HostMain() and lies beside the DLL. Makes no target, and says so, when the tools
# are missing or the build is not a cross compilation.
function(launcher_add_microsoft_program name)
  if(NOT CMAKE_CROSSCOMPILING)
    return()
  endif()
  if(NOT LAUNCHER_MICROSOFT_CLANG OR NOT LAUNCHER_MICROSOFT_LINK)
    message(WARNING "No clang++ or no lld-link: ${name} is not built")
    return()
  endif()
  find_library(LAUNCHER_MICROSOFT_KERNEL32 kernel32 REQUIRED)

  set(objects)
  foreach(source IN LISTS ARGN)
    cmake_path(ABSOLUTE_PATH source)
    cmake_path(GET source STEM stem)
    set(object "${CMAKE_CURRENT_BINARY_DIR}/${name}-${stem}.obj")
    add_custom_command(
      OUTPUT "${object}"
      COMMAND
        "${LAUNCHER_MICROSOFT_CLANG}" --target=x86_64-pc-windows-msvc -std=c++20 -O1 -ffreestanding
        -fno-exceptions -fno-rtti -Wall -Wextra -Werror "-I${PROJECT_SOURCE_DIR}"
        "-I${PROJECT_SOURCE_DIR}/include" -MD -MF "${object}.d" -c "${source}" -o "${object}"
      DEPENDS "${source}"
      DEPFILE "${object}.d"
      VERBATIM)
    list(APPEND objects "${object}")
  endforeach()

  set(program "${PROJECT_BINARY_DIR}/${name}.exe")
  add_custom_command(
    OUTPUT "${program}"
    COMMAND
      "${LAUNCHER_MICROSOFT_LINK}" /nologo "/out:${program}" /entry:HostMain /nodefaultlib
      /subsystem:console ${objects} "$<TARGET_LINKER_FILE:launcher>"
      "${LAUNCHER_MICROSOFT_KERNEL32}"
    DEPENDS ${objects} launcher
    VERBATIM)
  add_custom_target(${name} ALL DEPENDS "${program}")
endfunction()
