# Reading the launcher's results: the part of host_common that needs no Windows.
if(NOT TARGET host_results)
  include("${PROJECT_SOURCE_DIR}/cmake/nlohmann_json.cmake")
  add_library(host_results STATIC "${CMAKE_CURRENT_LIST_DIR}/checks.cpp"
                                  "${CMAKE_CURRENT_LIST_DIR}/line_reader.cpp"
                                  "${CMAKE_CURRENT_LIST_DIR}/results.cpp")
  target_include_directories(host_results PUBLIC "${PROJECT_SOURCE_DIR}"
                                                 "${PROJECT_SOURCE_DIR}/include")
  target_link_libraries(host_results PUBLIC launcher_nlohmann_json)
  launcher_enable_warnings(host_results)
  launcher_optimize(host_results -Os)
  launcher_harden(host_results)
  launcher_compile_together(host_results 0)
endif()
