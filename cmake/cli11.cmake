# The command-line parser of the console: headers alone. The library itself has no use for it.
find_path(
  LAUNCHER_CLI11_DIR CLI/CLI.hpp
  PATHS /usr/include
  NO_CMAKE_FIND_ROOT_PATH
  DOC "Folder that holds CLI/CLI.hpp (Debian: package libcli11-dev)")
if(NOT LAUNCHER_CLI11_DIR)
  message(FATAL_ERROR "CLI/CLI.hpp is missing: install it, set LAUNCHER_CLI11_DIR, or leave the "
                      "programs out with LAUNCHER_BUILD_PROGRAMS=OFF")
endif()

# A copy, for the reason that nlohmann_json.cmake gives.
file(COPY "${LAUNCHER_CLI11_DIR}/CLI" DESTINATION "${PROJECT_BINARY_DIR}/include")
if(NOT TARGET launcher_cli11)
  add_library(launcher_cli11 INTERFACE)
  target_include_directories(launcher_cli11 SYSTEM INTERFACE "${PROJECT_BINARY_DIR}/include")
endif()
