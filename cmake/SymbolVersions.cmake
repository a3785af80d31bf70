# Versions of exported symbols. A list beside the sources (lib<target>.symbols) names every exported
# symbol and the version of the project that added it; scripts/symbols keeps it.

# vix_read_symbols(file prefix): sets <prefix>_versions, in ascending order, and for each version
# <prefix>_<version>, the symbols that it added.
function(vix_read_symbols file prefix)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(STRINGS ${file} lines REGEX "^[^#]")
  set(versions ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  foreach(line IN LISTS lines)
    if(NOT line MATCHES "^([A-Za-z0-9_]+) ([0-9]+\\.[0-9]+)$")
      message(FATAL_ERROR "${file}: \"${line}\" is not a symbol and a version")
    endif()
    list(APPEND ${prefix}_${CMAKE_MATCH_2} ${CMAKE_MATCH_1})
    list(APPEND versions ${CMAKE_MATCH_2})
  endforeach()
  list(REMOVE_DUPLICATES versions)
  list(SORT versions COMPARE NATURAL)
  set(${prefix}_versions ${versions} PARENT_SCOPE)
  foreach(version IN LISTS versions)
    set(${prefix}_${version} ${${prefix}_${version}} PARENT_SCOPE)
  endforeach()
endfunction()

# vix_version_symbols(target node patterns): exports the listed symbols of the library under version
# nodes <node>_1.0, <node>_1.1, …, and what matches `patterns` (text of a version script) under the
# node of the project's version.
function(vix_version_symbols target node patterns)
  vix_read_symbols(${CMAKE_CURRENT_SOURCE_DIR}/lib${target}.symbols symbols)
  set(script)
  set(previous)
  set(hidden "local: *; ")
  foreach(version IN LISTS symbols_versions)
    list(JOIN symbols_${version} "; " names)
    if(version STREQUAL "${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")
      string(APPEND names "; ${patterns}")
    endif()
    string(APPEND script "${node}_${version} { global: ${names}; ${hidden}}${previous};\n")
    set(previous " ${node}_${version}")
    set(hidden)
  endforeach()
  string(REPLACE ": ; " ": " script "${script}")
  set(map ${CMAKE_CURRENT_BINARY_DIR}/lib${target}.map)
  file(CONFIGURE OUTPUT ${map} CONTENT "${script}" @ONLY)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()

# vix_link_unversioned(target library…): links the target to libraries of this project without
# requiring versions of their symbols, so that other libraries under the same sonames can take their
# place. The linker reads copies of the libraries that lack the version sections.
function(vix_link_unversioned target)
  foreach(library IN LISTS ARGN)
    set(copy ${PROJECT_BINARY_DIR}/unversioned/lib${library}.so)
    if(NOT TARGET ${library}_unversioned)
      add_custom_command(OUTPUT ${copy}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/unversioned
        COMMAND ${CMAKE_OBJCOPY} --remove-section=.gnu.version --remove-section=.gnu.version_d
                --remove-section=.gnu.version_r $<TARGET_FILE:${library}> ${copy}
        DEPENDS ${library} VERBATIM)
      add_custom_target(${library}_unversioned DEPENDS ${copy})
    endif()
    add_dependencies(${target} ${library}_unversioned)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:${copy}>)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${copy})
  endforeach()
endfunction()
