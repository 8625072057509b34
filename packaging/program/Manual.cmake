# SPDX-License-Identifier: GPL-3.0-or-later
# The manual page of the program, as tools/ makes those of the command: neither knows the other.
find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
find_program(GZIP gzip REQUIRED)
add_executable(orphia_write_manual program/WriteManual.cpp
  ${PROJECT_SOURCE_DIR}/plugin/standalone/CommandLine.cpp ${PROJECT_SOURCE_DIR}/tools/help/ManualPages.cpp)
target_compile_definitions(orphia_write_manual PRIVATE ORPHIA_VERSION="${PROJECT_VERSION}")
target_include_directories(orphia_write_manual PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(orphia_write_manual PRIVATE orphia_host orphia_options CLI11::CLI11 fmt::fmt)
target_compile_options(orphia_write_manual PRIVATE $<$<CONFIG:Release>:-O0>)
# One source that reads the large header, in place of three.
set_target_properties(orphia_write_manual PROPERTIES UNITY_BUILD ${ORPHIA_UNITY} UNITY_BUILD_BATCH_SIZE 0)

set(program_manual ${CMAKE_BINARY_DIR}/man-program)
add_custom_command(OUTPUT ${program_manual}/orphia-vx.1
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${program_manual}
  COMMAND orphia_write_manual ${program_manual} ${release_date}
  COMMAND ${GZIP} -9nkr ${program_manual}
  DEPENDS orphia_write_manual COMMENT "Manual page of the program")
add_custom_target(orphia_program_manual ALL DEPENDS ${program_manual}/orphia-vx.1)
install(FILES ${program_manual}/orphia-vx.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT plugins)
