# Flags and small helpers that every target of the tree shares.

add_library(vix_options INTERFACE)
target_compile_options(vix_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wcast-qual
  -Wformat=2 -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>
  # A contracted multiply-add rounds once instead of twice: results would depend on the CPU level.
  -ffp-contract=off)
target_link_options(vix_options INTERFACE -Wl,--as-needed -Wl,-z,relro,-z,now)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Unique symbols would pin a loaded plug-in in the process for ever.
  target_compile_options(vix_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
  # (clang leaves the sanitizers' symbols of a library to the program.)
  target_link_options(vix_options INTERFACE -Wl,--no-undefined)
endif()

set(VIX_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")
if(VIX_SANITIZE)
  add_compile_options(-fsanitize=${VIX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VIX_SANITIZE})
endif()

if(NOT VIX_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # What the distribution builds its own packages with against attacks through damaged input.
  target_compile_options(vix_options INTERFACE
    -fstack-protector-strong -fstack-clash-protection -fcf-protection
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
endif()

if(VIX_BUILD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)  # the coverage that guides libFuzzer
endif()

option(VIX_COVERAGE "Build with coverage counters" OFF)
if(VIX_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# vix_version_library(target): version and soname of a shared library of this project.
function(vix_version_library target)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()
