# SPDX-License-Identifier: GPL-3.0-or-later
# The library that takes all calls and computes no sound.
add_library(orphia_silent MODULE ${CMAKE_CURRENT_LIST_DIR}/silent_engine/SilentEngine.cpp)
set_target_properties(orphia_silent PROPERTIES CXX_VISIBILITY_PRESET default)
target_link_libraries(orphia_silent PRIVATE orphia_engine orphia_options)
target_link_options(orphia_silent PRIVATE -Wl,--exclude-libs,ALL)
