# SPDX-License-Identifier: GPL-3.0-or-later
# What a build for another system takes from this one: libraries that are headers only, as targets of the names that
# find_package would give. In a folder of their own, as the system's other headers are not for the target.
set(cross_headers ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${cross_headers})
foreach(header boost xsimd fmt nlohmann kissfft/kissfft.hh sndfile.h)
  if(NOT EXISTS /usr/include/${header})
    message(FATAL_ERROR "/usr/include/${header} is missing: scripts/bootstrap build cross")
  endif()
  get_filename_component(name ${header} NAME)
  file(CREATE_LINK /usr/include/${header} ${cross_headers}/${name} SYMBOLIC)
endforeach()
include_directories(SYSTEM ${cross_headers})

foreach(name xsimd fmt::fmt nlohmann_json::nlohmann_json)
  add_library(${name} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${name} INTERFACE ${cross_headers})
endforeach()
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
if(EMSCRIPTEN)
  add_library(Threads::Threads INTERFACE IMPORTED GLOBAL)
endif()
