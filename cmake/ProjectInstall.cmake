# What `cmake --install` puts where: libraries, headers, the CMake package, pkg-config files, licence.
# The tool installs itself in tool/CMakeLists.txt.

include(CMakePackageConfigHelpers)

set(VIX_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vixVideoCodecProRes)

set_target_properties(ProRes vixCore vixVideoCodecProRes PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ProRes vixCore vixVideoCodecProRes EXPORT vixVideoCodecProResTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/vix include/ProRes DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

install(EXPORT vixVideoCodecProResTargets NAMESPACE vix:: DESTINATION ${VIX_INSTALL_CMAKEDIR})
configure_package_config_file(cmake/vixVideoCodecProResConfig.cmake.in
  vixVideoCodecProResConfig.cmake INSTALL_DESTINATION ${VIX_INSTALL_CMAKEDIR})
write_basic_package_version_file(vixVideoCodecProResConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vixVideoCodecProResConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/vixVideoCodecProResConfigVersion.cmake
        DESTINATION ${VIX_INSTALL_CMAKEDIR})

# The way from the pkg-config files to the prefix, so that an installed tree may be anywhere.
file(RELATIVE_PATH PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)

# vix_install_pkgconfig(library description [required modules])
function(vix_install_pkgconfig PC_LIBRARY PC_DESCRIPTION PC_REQUIRES)
  configure_file(cmake/library.pc.in ${PC_LIBRARY}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${PC_LIBRARY}.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
vix_install_pkgconfig(ProRes "ProRes (SMPTE RDD 36) encoder and decoder" "")
vix_install_pkgconfig(vixCore "Host core for media-processing plug-ins" "")
vix_install_pkgconfig(vixVideoCodecProRes "ProRes encoder and decoder elements" "vixCore ProRes")
