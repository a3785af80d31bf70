# Rules of `cmake --install` for libraries, headers, the CMake package, pkg-config files and licence.
# The program's are in tool/CMakeLists.txt.

include(CMakePackageConfigHelpers)

set(VIX_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vixVideoCodecProRes)

set(VIX_PLUGINS vixVideoCodecProRes vixVideoCodecProRes4444)
install(TARGETS ProRes vixCore ${VIX_PLUGINS} EXPORT vixVideoCodecProResTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
# Where vix::LoadPlugins() finds the plug-ins.
set(VIX_PLUGIN_LINKS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${VIX_PLUGIN_FOLDER})
foreach(plugin IN LISTS VIX_PLUGINS)
  install(FILES ${VIX_PLUGIN_LINKS}/lib${plugin}.so
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/${VIX_PLUGIN_FOLDER})
endforeach()
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

# vix_write_pkgconfig(folder prefix libdir includedir): writes folder/pkgconfig/*.pc for an installation
# with these folders.
function(vix_write_pkgconfig folder PC_PREFIX PC_LIBDIR PC_INCLUDEDIR)
  set(PC_VARIABLES_vixCore "plugindir=\${libdir}/${VIX_PLUGIN_FOLDER}\n")
  foreach(library IN ITEMS "ProRes|ProRes (SMPTE RDD 36) encoder and decoder|"
      "vixCore|Host core for media-processing plug-ins|"
      "vixVideoCodecProRes|ProRes encoder and decoder elements|vixCore ProRes"
      "vixVideoCodecProRes4444|ProRes 4444 encoder and decoder elements|vixCore ProRes")
    string(REPLACE "|" ";" library "${library}")
    list(GET library 0 PC_LIBRARY)
    list(GET library 1 PC_DESCRIPTION)
    list(GET library 2 PC_REQUIRES)
    set(PC_VARIABLES "${PC_VARIABLES_${PC_LIBRARY}}")
    configure_file(cmake/library.pc.in ${folder}/pkgconfig/${PC_LIBRARY}.pc @ONLY)
  endforeach()
endfunction()
# The files name the prefix relative to themselves, so that it can be moved.
file(RELATIVE_PATH prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
vix_write_pkgconfig(${CMAKE_CURRENT_BINARY_DIR} \${pcfiledir}/${prefix}
                    ${CMAKE_INSTALL_LIBDIR} ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/pkgconfig DESTINATION ${CMAKE_INSTALL_LIBDIR})
