# The serializer that the measurements compare with; without it there are none.
launcher_header_library(msgpack libmsgpack-cxx-dev msgpack.hpp ALSO msgpack/pack.hpp OPTIONAL)
if(TARGET launcher_msgpack)
  target_compile_definitions(launcher_msgpack INTERFACE MSGPACK_NO_BOOST)
endif()
