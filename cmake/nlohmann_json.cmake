# The JSON parser of examples and tests: headers alone. The library itself has no use for it.
find_path(
  LAUNCHER_NLOHMANN_JSON_DIR nlohmann/json.hpp
  PATHS /usr/include
  NO_CMAKE_FIND_ROOT_PATH
  DOC "Folder that holds nlohmann/json.hpp (Debian: package nlohmann-json3-dev)")
if(NOT LAUNCHER_NLOHMANN_JSON_DIR)
  message(FATAL_ERROR "nlohmann/json.hpp is missing: install it, set LAUNCHER_NLOHMANN_JSON_DIR, "
                      "or leave the programs out with LAUNCHER_BUILD_PROGRAMS=OFF")
endif()

# A copy, because the folder may be /usr/include: a cross compiler that looks there takes the
# headers of Linux for those of Windows.
file(COPY "${LAUNCHER_NLOHMANN_JSON_DIR}/nlohmann" DESTINATION "${PROJECT_BINARY_DIR}/include")
if(NOT TARGET launcher_nlohmann_json)
  add_library(launcher_nlohmann_json INTERFACE)
  target_include_directories(launcher_nlohmann_json SYSTEM INTERFACE "${PROJECT_BINARY_DIR}/include")
endif()
