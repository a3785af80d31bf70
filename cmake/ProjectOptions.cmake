# Flags and helper functions that all targets share.

add_library(vix_options INTERFACE)
target_compile_options(vix_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2 -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>
  $<$<BOOL:${VIX_WARNINGS_AS_ERRORS}>:-Werror>
  # A contracted multiply-add rounds once instead of twice: results would depend on the CPU level.
  -ffp-contract=off)
target_link_options(vix_options INTERFACE -Wl,--as-needed -Wl,-z,relro,-z,now)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A plug-in with unique symbols cannot be unloaded.
  target_compile_options(vix_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
  # (Libraries built by clang leave the sanitizers' symbols to the program.)
  target_link_options(vix_options INTERFACE -Wl,--no-undefined)
endif()

set(VIX_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")
if(VIX_SANITIZE)
  add_compile_options(-fsanitize=${VIX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VIX_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_link_options(-fuse-ld=lld)  # a fifth of the time of ld, for some thirty programs
  endif()
endif()

# vix_check_integers(target): for code that computes sizes from what a file claims. Conversions that
# lose value and unsigned sums that wrap end a sanitizer build, too.
function(vix_check_integers target)
  if(VIX_SANITIZE MATCHES address AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(${target} PRIVATE
      -fsanitize=unsigned-integer-overflow,implicit-conversion
      -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/wrapping_integers.txt)
  endif()
endfunction()

if(NOT VIX_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The distribution's own hardening flags, against damaged or hostile input.
  target_compile_options(vix_options INTERFACE
    -fstack-protector-strong -fstack-clash-protection -fcf-protection
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
endif()

# For code that is installed: line numbers for debuggers, and no names of the folders of the build.
# Log records and messages name source files relative to the project's root.
add_library(vix_shipped INTERFACE)
target_link_libraries(vix_shipped INTERFACE vix_options)
target_compile_options(vix_shipped INTERFACE
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
  -fdebug-prefix-map=${PROJECT_SOURCE_DIR}=. -fdebug-prefix-map=${PROJECT_BINARY_DIR}=./build
  $<$<CONFIG:Release>:-g1>)

option(VIX_COVERAGE "Build with coverage counters" OFF)
if(VIX_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# Folder of plug-ins beside the libraries (vix::GetPluginFolder()).
set(VIX_PLUGIN_FOLDER vix-plugins-${PROJECT_VERSION_MAJOR})
# Folder beside the libraries of what the program loads on demand.
set(VIX_PROGRAM_FOLDER vixprores)

# vix_shared_library(target): sets version, soname and run path of a library of this project. The
# libraries lie side by side in the build tree as in every installation, so that one run path serves
# both. (A run path that CMake changes on installation is padded with empty elements until then.)
function(vix_shared_library target)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH TRUE)
endfunction()

# vix_publish_plugin(target): links the library from the folder where vix::LoadPlugins() finds it.
function(vix_publish_plugin target)
  set(folder ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${VIX_PLUGIN_FOLDER})
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND ${CMAKE_COMMAND} -E create_symlink ../$<TARGET_SONAME_FILE_NAME:${target}>
            ${folder}/$<TARGET_LINKER_FILE_NAME:${target}>
    VERBATIM)
endfunction()
