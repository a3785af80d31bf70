# Debian packages, built by scripts/package from the release build: one for each library, one for
# the program, one for developers. Their files are in Debian's folders, independent of the other
# installation rules, which exclude these components.

set(VIX_DEBIAN_RELEASE 0vix1)  # third-party packages sort before those of the distribution
set(VIX_DEBIAN_VERSION ${PROJECT_VERSION}-${VIX_DEBIAN_RELEASE})
set(VIX_DEBIAN_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
set(VIX_DEBIAN_CMAKEDIR ${VIX_DEBIAN_LIBDIR}/cmake/vixVideoCodecProRes)
set(VIX_DEBIAN_FILES ${PROJECT_BINARY_DIR}/packaging)

# vix_run_in_package(package code): runs CMake code when the files of the package have been installed
# below `root`.
function(vix_run_in_package package code)
  install(CODE "set(root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")\n${code}"
          COMPONENT ${package} EXCLUDE_FROM_ALL)
endfunction()

function(vix_document_package package)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright
          DESTINATION share/doc/${package} COMPONENT ${package} EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/changelog RENAME changelog.Debian
          DESTINATION share/doc/${package} COMPONENT ${package} EXCLUDE_FROM_ALL)
  vix_run_in_package(${package} "
    execute_process(COMMAND gzip -9n \${root}/share/doc/${package}/changelog.Debian
                    COMMAND_ERROR_IS_FATAL ANY)")
endfunction()

# vix_bare_binary(package path): removes the run path, which system folders do not need, and the
# compiler's notes. CPack moves what only a debugger reads to a package of its own.
function(vix_bare_binary package path)
  vix_run_in_package(${package} "
    file(RPATH_REMOVE FILE \${root}/${path})
    execute_process(COMMAND ${CMAKE_OBJCOPY} --remove-section=.comment --remove-section=.note
                            --compress-debug-sections \${root}/${path}
                    COMMAND_ERROR_IS_FATAL ANY)")
endfunction()

# vix_debian_symbols(target package list node): writes Debian's symbols file of a library from the list
# of its exported symbols.
function(vix_debian_symbols target package list node)
  vix_read_symbols(${list} symbols)
  set(text "lib${target}.so.${PROJECT_VERSION_MAJOR} ${package} #MINVER#\n")
  foreach(version IN LISTS symbols_versions)
    foreach(symbol IN LISTS symbols_${version} ITEMS ${node}_${version})
      string(APPEND text " ${symbol}@${node}_${version} ${version}.0\n")
    endforeach()
  endforeach()
  file(WRITE ${VIX_DEBIAN_FILES}/${package}/symbols "${text}")
  string(TOUPPER ${package} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA}
      ${VIX_DEBIAN_FILES}/${package}/symbols PARENT_SCOPE)
endfunction()

# vix_package_library(target package): packages the library without its development link.
function(vix_package_library target package)
  install(TARGETS ${target} EXPORT vixDebianTargets
          LIBRARY DESTINATION ${VIX_DEBIAN_LIBDIR} COMPONENT ${package} EXCLUDE_FROM_ALL
                  NAMELINK_COMPONENT libvix-dev)
  vix_bare_binary(${package} ${VIX_DEBIAN_LIBDIR}/$<TARGET_FILE_NAME:${target}>)
  vix_run_in_package(${package} "
    file(CHMOD \${root}/${VIX_DEBIAN_LIBDIR}/$<TARGET_FILE_NAME:${target}>
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)")
  vix_document_package(${package})
  # The dependency of packages that link the library, and the trigger that runs ldconfig.
  set(folder ${VIX_DEBIAN_FILES}/${package})
  file(WRITE ${folder}/shlibs
       "lib${target} ${PROJECT_VERSION_MAJOR} ${package} (>= ${PROJECT_VERSION})\n")
  file(WRITE ${folder}/triggers "activate-noawait ldconfig\n")
  string(TOUPPER ${package} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${folder}/shlibs ${folder}/triggers PARENT_SCOPE)
endfunction()

# vix_package_plugin(target package): packages the library and the link through which
# vix::LoadPlugins() finds it. A macro, because packages pass variables to this file.
macro(vix_package_plugin target package)
  vix_package_library(${target} ${package})
  install(FILES ${VIX_PLUGIN_LINKS}/lib${target}.so
          DESTINATION ${VIX_DEBIAN_LIBDIR}/${VIX_PLUGIN_FOLDER}
          COMPONENT ${package} EXCLUDE_FROM_ALL)
endmacro()

# vix_package_module(target package folder): packages a library that is loaded at run time.
function(vix_package_module target package folder)
  install(TARGETS ${target} LIBRARY DESTINATION ${folder} COMPONENT ${package} EXCLUDE_FROM_ALL)
  set(path ${folder}/$<TARGET_FILE_NAME:${target}>)
  vix_bare_binary(${package} ${path})
  vix_run_in_package(${package} "
    file(CHMOD \${root}/${path}
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)")
  vix_document_package(${package})
endfunction()

vix_package_library(ProRes libprores1)
vix_package_library(vixCore libvixcore1)
vix_package_plugin(vixVideoCodecProRes libvixvideocodecprores1)
vix_package_plugin(vixVideoCodecProRes4444 libvixvideocodecprores4444-1)
vix_debian_symbols(ProRes libprores1 ${PROJECT_SOURCE_DIR}/codec/libProRes.symbols PRORES)
vix_debian_symbols(vixCore libvixcore1 ${PROJECT_SOURCE_DIR}/core/libvixCore.symbols VIXCORE)

# The program, its manual, completions and documents.
install(TARGETS vixprores RUNTIME DESTINATION bin COMPONENT vixprores EXCLUDE_FROM_ALL)
install(DIRECTORY ${PROJECT_BINARY_DIR}/tool/share/
        DESTINATION share COMPONENT vixprores EXCLUDE_FROM_ALL)
file(GLOB vix_documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md
     ${PROJECT_SOURCE_DIR}/docs/*.svg)
install(FILES ${PROJECT_SOURCE_DIR}/README.md
        DESTINATION share/doc/vixprores COMPONENT vixprores EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md RENAME changelog
        DESTINATION share/doc/vixprores COMPONENT vixprores EXCLUDE_FROM_ALL)
install(FILES ${vix_documents}
        DESTINATION share/doc/vixprores/docs COMPONENT vixprores EXCLUDE_FROM_ALL)
vix_bare_binary(vixprores bin/vixprores)
vix_run_in_package(vixprores "
  file(GLOB pages \${root}/share/man/man1/*.1)
  execute_process(COMMAND gzip -9n \${pages} \${root}/share/doc/vixprores/changelog
                  COMMAND_ERROR_IS_FATAL ANY)")
vix_document_package(vixprores)

# What the program loads for image sequences: its libraries are large.
vix_package_module(vixprores_images vixprores-images ${VIX_DEBIAN_LIBDIR}/${VIX_PROGRAM_FOLDER})

# The elements for GStreamer, where it is installed.
set(gstreamer_package)
if(TARGET gstvixprores)
  set(gstreamer_package gstreamer1.0-vixprores)
  vix_package_module(gstvixprores ${gstreamer_package} ${VIX_DEBIAN_LIBDIR}/gstreamer-1.0)
endif()

# Headers, the CMake package, pkg-config files, and the guide with its examples.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vix ${PROJECT_SOURCE_DIR}/include/ProRes
        DESTINATION include COMPONENT libvix-dev EXCLUDE_FROM_ALL FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples
        DESTINATION share/doc/libvix-dev COMPONENT libvix-dev EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_SOURCE_DIR}/docs/host-guide.md ${PROJECT_SOURCE_DIR}/docs/versions.md
        DESTINATION share/doc/libvix-dev/docs COMPONENT libvix-dev EXCLUDE_FROM_ALL)
install(EXPORT vixDebianTargets FILE vixVideoCodecProResTargets.cmake NAMESPACE vix::
        DESTINATION ${VIX_DEBIAN_CMAKEDIR} COMPONENT libvix-dev EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/vixVideoCodecProResConfig.cmake
              ${PROJECT_BINARY_DIR}/vixVideoCodecProResConfigVersion.cmake
        DESTINATION ${VIX_DEBIAN_CMAKEDIR} COMPONENT libvix-dev EXCLUDE_FROM_ALL)
vix_write_pkgconfig(${VIX_DEBIAN_FILES} /usr ${VIX_DEBIAN_LIBDIR} include)
install(DIRECTORY ${VIX_DEBIAN_FILES}/pkgconfig
        DESTINATION ${VIX_DEBIAN_LIBDIR} COMPONENT libvix-dev EXCLUDE_FROM_ALL)
vix_document_package(libvix-dev)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(VIX_DEBIAN_LIBRARIES libprores1 libvixcore1 libvixvideocodecprores1
    libvixvideocodecprores4444-1)
set(CPACK_COMPONENTS_ALL ${VIX_DEBIAN_LIBRARIES} vixprores vixprores-images libvix-dev
    ${gstreamer_package})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/FinishPackages.cmake)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${VIX_DEBIAN_RELEASE})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "vixVideoCodecProRes authors <packages@vixprores.invalid>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

# vix_describe_package(package section summary description [packages of this project])
function(vix_describe_package package section summary description)
  string(TOUPPER ${package} key)
  list(TRANSFORM ARGN APPEND " (= ${VIX_DEBIAN_VERSION})" OUTPUT_VARIABLE needs)
  list(JOIN needs ", " needs)
  foreach(field IN ITEMS PACKAGE_NAME:${package} PACKAGE_SECTION:${section}
      DESCRIPTION:${summary}\n${description}
      PACKAGE_DEPENDS:${needs})
    string(REGEX MATCH "^([A-Z_]+):(.*)$" matched "${field}")
    set(CPACK_DEBIAN_${key}_${CMAKE_MATCH_1} "${CMAKE_MATCH_2}" PARENT_SCOPE)
  endforeach()
endfunction()

vix_describe_package(libprores1 libs
  "ProRes encoder and decoder (codec library)"
  "Codes frames in the format that SMPTE RDD 36 describes: 4:2:2 pictures of 8
or 10 bits, Proxy to HQ, and 4:4:4 pictures with alpha, 4444 and 4444 XQ,
progressive and interlaced, through a C interface.")
vix_describe_package(libvixcore1 libs
  "host core for media-processing plug-ins"
  "Registry of elements, parameters, descriptions of streams, samples, memory,
logging, and the loading of plug-ins, for programs that host elements.")
vix_describe_package(libvixvideocodecprores1 libs
  "ProRes encoder and decoder elements (plug-in)"
  "Plug-in with the elements VideoEncoderProRes and VideoDecoderProRes for
hosts that are built on libvixcore1."
  libprores1 libvixcore1)
vix_describe_package(libvixvideocodecprores4444-1 libs
  "ProRes 4444 encoder and decoder elements (plug-in)"
  "Plug-in with elements for 4:4:4 pictures of 16 bits with alpha, YCbCr and
RGB, for hosts that are built on libvixcore1. They encode 4444 and 4444 XQ
and decode every variant."
  libprores1 libvixcore1)
vix_describe_package(vixprores video
  "encode, decode and examine ProRes video"
  "Command-line program for post-production and broadcast. It converts between
ProRes, camera files and other video with its sound, and uncompressed 4:2:2
video in mov, mxf, mkv, avi, nut and y4m files, on every processor."
  ${VIX_DEBIAN_LIBRARIES})
# Loaded at run time, so that it is not among the libraries of the binary.
string(REGEX MATCH "^[0-9]+" filter_major "${LIBAVFILTER_VERSION}")
string(APPEND CPACK_DEBIAN_VIXPRORES_PACKAGE_DEPENDS ", libavfilter${filter_major}")
set(CPACK_DEBIAN_VIXPRORES_PACKAGE_SUGGESTS "vixprores-images (= ${VIX_DEBIAN_VERSION})")
vix_describe_package(vixprores-images video
  "image sequences for vixprores"
  "Lets vixprores read and write sequences of OpenEXR, DPX, TIFF, PNG, JPEG and
Targa images, read Cineon, and convert colours with OpenColorIO."
  vixprores)
vix_describe_package(libvix-dev libdevel
  "development files of the ProRes codec library and its host core"
  "Headers, CMake package, pkg-config files and example projects for programs
that use the codec library, host elements, or bring elements of their own."
  ${VIX_DEBIAN_LIBRARIES})
vix_describe_package(gstreamer1.0-vixprores libs
  "ProRes encoder and decoder for GStreamer"
  "Plugin with the elements vixproresenc and vixproresdec, which encode and
decode ProRes 422 Proxy, LT, 422, HQ, 4444 and 4444 XQ in pipelines and
players."
  ${VIX_DEBIAN_LIBRARIES})

include(CPack)
