# Compilers and libraries of the build. The oldest versions that are tested are those of Debian 12;
# older ones are refused.

set(VIX_MINIMUM_GNU 12.2)
set(VIX_MINIMUM_Clang 14.0)
set(vix_minimum_compiler ${VIX_MINIMUM_${CMAKE_CXX_COMPILER_ID}})
if(NOT vix_minimum_compiler)
  message(WARNING "${CMAKE_CXX_COMPILER_ID} is not a compiler that this project is tested with")
elseif(CMAKE_CXX_COMPILER_VERSION VERSION_LESS vix_minimum_compiler)
  message(FATAL_ERROR "${CMAKE_CXX_COMPILER} is version ${CMAKE_CXX_COMPILER_VERSION}; "
                      "at least ${vix_minimum_compiler} is needed")
endif()

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(HIGHWAY REQUIRED libhwy>=1.0.3)  # its headers alone are used

if(VIX_BUILD_TOOL)
  # FFmpeg 5.1
  pkg_check_modules(LIBAV REQUIRED IMPORTED_TARGET
    libavformat>=59.27 libavcodec>=59.37 libswresample>=4.7 libavutil>=57.28)
  pkg_check_modules(LIBAVFILTER REQUIRED libavfilter>=8.44)  # its headers alone are used
  pkg_check_modules(ZIMG REQUIRED IMPORTED_TARGET zimg>=3.0)
  pkg_check_modules(XXHASH REQUIRED IMPORTED_TARGET libxxhash>=0.8.1)  # its header alone is used
  find_package(CLI11 2.1 REQUIRED)
  find_package(PNG 1.6.39 REQUIRED)
  pkg_check_modules(OPENIMAGEIO REQUIRED IMPORTED_TARGET OpenImageIO>=2.4)
  pkg_check_modules(OPENCOLORIO REQUIRED IMPORTED_TARGET OpenColorIO>=2.1)
endif()
if(VIX_BUILD_GSTREAMER)
  pkg_check_modules(GSTREAMER IMPORTED_TARGET QUIET gstreamer-video-1.0>=1.22)
  if(NOT GSTREAMER_FOUND)
    message(STATUS "gstreamer-video-1.0 1.22 not found: the elements for GStreamer are not built")
  endif()
endif()
if(VIX_BUILD_TOOL OR VIX_BUILD_BENCHMARKS)
  find_package(nlohmann_json 3.11 REQUIRED)
endif()
if(VIX_BUILD_TESTS)
  find_package(GTest 1.12 REQUIRED)
  find_package(Python3 3.11 REQUIRED COMPONENTS Interpreter)
endif()
if(VIX_BUILD_BENCHMARKS)
  find_package(benchmark 1.7 REQUIRED)
endif()
