# The serializer that the measurements compare with: headers alone.
find_path(
  LAUNCHER_MSGPACK_DIR msgpack.hpp
  PATHS /usr/include
  NO_CMAKE_FIND_ROOT_PATH
  DOC "Folder that holds msgpack.hpp (Debian: package libmsgpack-cxx-dev)")
if(NOT LAUNCHER_MSGPACK_DIR)
  message(STATUS "msgpack.hpp is missing: no measurements")
  return()
endif()

# A copy, because a cross compiler must not look into /usr/include.
file(COPY "${LAUNCHER_MSGPACK_DIR}/msgpack.hpp" "${LAUNCHER_MSGPACK_DIR}/msgpack"
     DESTINATION "${PROJECT_BINARY_DIR}/msgpack")
add_library(launcher_msgpack INTERFACE)
target_include_directories(launcher_msgpack SYSTEM INTERFACE "${PROJECT_BINARY_DIR}/msgpack")
target_compile_definitions(launcher_msgpack INTERFACE MSGPACK_NO_BOOST)
