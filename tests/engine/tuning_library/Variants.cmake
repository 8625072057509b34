# SPDX-License-Identifier: GPL-3.0-or-later
# Tuning libraries that the tests load at run time: a complete one, and two that lack functions.
set(tuning_folder ${CMAKE_CURRENT_BINARY_DIR}/tuning)
set(tuning_without_master HAS_EXTRAS)
set(tuning_table_only HAS_TABLE)
set(tuning_complete HAS_EXTRAS HAS_TABLE)
foreach(variant complete without_master table_only)
  add_library(tuning_${variant} MODULE ${CMAKE_CURRENT_LIST_DIR}/TestTuning.cpp)
  target_compile_definitions(tuning_${variant} PRIVATE ${tuning_${variant}})
  set_target_properties(tuning_${variant} PROPERTIES
    PREFIX "" SUFFIX ".so" OUTPUT_NAME ${variant} CXX_VISIBILITY_PRESET default
    LIBRARY_OUTPUT_DIRECTORY ${tuning_folder})
  target_link_libraries(tuning_${variant} PRIVATE orphia_options)
  add_dependencies(orphia_tests tuning_${variant})
endforeach()
target_compile_definitions(orphia_tests PRIVATE ORPHIA_TEST_TUNING="${tuning_folder}")
