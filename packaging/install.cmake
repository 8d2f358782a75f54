# What the packages hold beside the library itself: components that a plain cmake --install leaves out.
function(launcher_install_programs component folder)
  get_property(targets DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}" PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
      install(TARGETS ${target} RUNTIME DESTINATION . COMPONENT ${component} EXCLUDE_FROM_ALL)
    endif()
  endforeach()
endfunction()

launcher_install_programs(kit kit)
launcher_install_programs(tools tools/launcher-console)
launcher_install_programs(tools hosts/browser)
