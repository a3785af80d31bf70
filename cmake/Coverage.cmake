# The target `coverage` of the coverage preset: runs all tests, then prints the coverage of the
# libraries by folder and by file.
find_program(GCOVR gcovr REQUIRED)
add_custom_target(coverage
  COMMAND find ${CMAKE_BINARY_DIR} -name "*.gcda" -delete
  COMMAND ${CMAKE_CTEST_COMMAND} --output-on-failure -j2
  COMMAND ${GCOVR} --root ${CMAKE_SOURCE_DIR} --filter ${CMAKE_SOURCE_DIR}/src/
          --filter ${CMAKE_SOURCE_DIR}/core/ --filter ${CMAKE_SOURCE_DIR}/codec/
          --exclude-throw-branches --txt ${CMAKE_BINARY_DIR}/coverage.txt
          --json-summary ${CMAKE_BINARY_DIR}/coverage.json ${CMAKE_BINARY_DIR}
  COMMAND ${CMAKE_COMMAND} -E cat ${CMAKE_BINARY_DIR}/coverage.txt
  COMMAND python3 ${CMAKE_SOURCE_DIR}/cmake/coverage_by_folder.py ${CMAKE_BINARY_DIR}/coverage.json
  WORKING_DIRECTORY ${CMAKE_BINARY_DIR}
  USES_TERMINAL)
