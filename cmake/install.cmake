# cmake --install: the DLL, its import library, the headers, and packages for
# CMake and pkg-config. Nothing in them names the folder they were installed to.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(
  TARGETS launcher
  EXPORT launcherTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/launcher"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
if(NOT MSVC)
  install(FILES $<TARGET_FILE:launcher>.debug DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/launcher")
install(
  EXPORT launcherTargets
  NAMESPACE launcher::
  DESTINATION "${package_folder}")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/launcher-config.cmake.in"
  "${PROJECT_BINARY_DIR}/launcher-config.cmake"
  INSTALL_DESTINATION "${package_folder}"
  NO_SET_AND_CHECK_MACRO)
# A newer library serves a host of an older one: the slots never change.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/launcher-config-version.cmake"
                                 COMPATIBILITY AnyNewerVersion)
install(FILES "${PROJECT_BINARY_DIR}/launcher-config.cmake"
              "${PROJECT_BINARY_DIR}/launcher-config-version.cmake"
        DESTINATION "${package_folder}")

# pkg-config finds the folders from where the file itself lies.
set(pkgconfig_folder "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH launcher_prefix_from_pkgconfig "/root/${pkgconfig_folder}" "/root")
string(REGEX REPLACE "/$" "" launcher_prefix_from_pkgconfig "${launcher_prefix_from_pkgconfig}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/launcher.pc.in" "${PROJECT_BINARY_DIR}/launcher.pc"
               @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/launcher.pc" DESTINATION "${pkgconfig_folder}")
