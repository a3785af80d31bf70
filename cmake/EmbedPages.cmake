# Writes the HTML page of the reports as a C++ source: cmake -D SOURCE=tool/report/pages
# -D UPLOT=third_party/uplot -D OUTPUT=PageParts.cpp -P EmbedPages.cmake
#
# Style sheets and scripts go into the page, so that a report is one file. The page is cut where the
# program inserts its data.
cmake_minimum_required(VERSION 3.25)

# The licence has to accompany every copy of the library, so every page has it.
file(READ ${UPLOT}/LICENSE licence)
set(style "")
foreach(file ${UPLOT}/uPlot.min.css ${SOURCE}/page.css)
  file(READ ${file} text)
  string(APPEND style "\n${text}")
endforeach()
set(script "\"use strict\";\n/*! uPlot:\n${licence}*/")
foreach(file ${UPLOT}/uPlot.iife.min.js ${SOURCE}/page.js ${SOURCE}/chart.js ${SOURCE}/slices.js
             ${SOURCE}/commands.js)
  file(READ ${file} text)
  string(APPEND script "\n${text}")
endforeach()
# Either would end the script element early, or start a comment in it.
if(script MATCHES "</script|<!--")
  message(FATAL_ERROR "a script of the pages contains ${CMAKE_MATCH_0}")
endif()

file(READ ${SOURCE}/page.html page)
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")

set(arrays "")
set(views "")
foreach(mark "@REPORT@" "@PAGE@" "")
  if(mark)
    string(FIND "${page}" "${mark}" end)
    string(SUBSTRING "${page}" 0 ${end} part)
    string(LENGTH "${mark}" length)
    math(EXPR begin "${end} + ${length}")
    string(SUBSTRING "${page}" ${begin} -1 page)
  else()
    set(part "${page}")
  endif()
  # An array, as compilers limit the length of string literals.
  list(LENGTH views number)
  string(HEX "${part}" hex)
  string(REGEX REPLACE "(................................)" "\\1\n" hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," hex "${hex}")
  string(APPEND arrays "constexpr char kPart${number}[] = {\n${hex}};\n")
  list(APPEND views "std::string_view(kPart${number}, sizeof(kPart${number}))")
endforeach()
list(JOIN views ", " views)

file(WRITE ${OUTPUT} "// Generated from report/pages.
#include <array>
#include <string_view>

namespace vixprores {
namespace {
${arrays}}  // namespace

extern const std::array<std::string_view, 3> kPageParts;
const std::array<std::string_view, 3> kPageParts{${views}};

}  // namespace vixprores
")
