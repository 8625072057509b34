# SPDX-License-Identifier: GPL-3.0-or-later
# Which components are a Debian package; `cpack -G DEB` makes them, and scripts/package does so with all that belongs to it.
set(ORPHIA_CONTACT "" CACHE STRING "Who answers for the packages, as \"Name <address>\"")
set(contact "${ORPHIA_CONTACT}")
if(contact STREQUAL "")
  # Reaches nobody: the domain is reserved for examples.
  set(contact "Orphia VX maintainers <maintainers@orphia-vx.example.org>")
elseif(NOT contact MATCHES "^[^<>]+ <[^<> ]+@[^<> ]+>$")
  message(FATAL_ERROR "ORPHIA_CONTACT is not of the form \"Name <address>\": ${contact}")
endif()

find_program(GZIP gzip REQUIRED)
execute_process(COMMAND date -u -d ${release_date} "+%a, %d %b %Y %H:%M:%S +0000"
  OUTPUT_VARIABLE release_time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file(debian/changelog.in changelog @ONLY)
execute_process(COMMAND ${GZIP} -9nc ${CMAKE_CURRENT_BINARY_DIR}/changelog
  OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)

set(CPACK_PACKAGE_NAME orphia-vx)
# Each package has its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT ${contact})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SOURCE orphia-vx)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)

# What is compiled into a package besides our own, as packages of this system, whose licences ask to come along.
set(inside_orphia-vx libxsimd-dev libboost-dev nlohmann-json3-dev libcli11-dev)
set(inside_liborphia-host${PROJECT_VERSION_MAJOR} libxsimd-dev libboost-dev nlohmann-json3-dev)
set(inside_orphia-vx-plugins ${inside_orphia-vx} dpf-source lv2-dev juce-modules-source)
set(inside_python3-orphia libxsimd-dev libboost-dev nlohmann-json3-dev pybind11-dev)

# Our own licence, and what this system's packages tell of the libraries inside, each with its text.
function(write_copyright name)
  configure_file(debian/copyright.in ${name}.copyright @ONLY)
  foreach(library ${inside_${name}})
    set(theirs /usr/share/doc/${library}/copyright)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${theirs})
    if(NOT EXISTS ${theirs})
      message(WARNING "${name}: what ${library} asks for is not there: ${theirs}")
      continue()
    endif()
    file(READ ${theirs} text)
    string(REPEAT "=" 78 rule)
    file(APPEND ${CMAKE_CURRENT_BINARY_DIR}/${name}.copyright "\n${rule}\n${library}\n${rule}\n\n${text}")
  endforeach()
endfunction()

# A package of components. `depends` has what is not seen in its files.
set(packaged "")
function(add_debian_package name section components depends description)
  write_copyright(${name})
  string(TOUPPER ${name} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS ${depends} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION ${description} PARENT_SCOPE)
  foreach(component ${components} ${name}-papers)
    string(TOUPPER ${component} component_key)
    set(CPACK_COMPONENT_${component_key}_GROUP ${name} PARENT_SCOPE)
  endforeach()
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.copyright
    DESTINATION share/doc/${name} RENAME copyright COMPONENT ${name}-papers EXCLUDE_FROM_ALL)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
    DESTINATION share/doc/${name} COMPONENT ${name}-papers EXCLUDE_FROM_ALL)
  set(overrides ${CMAKE_CURRENT_SOURCE_DIR}/debian/${name}.lintian-overrides)
  if(EXISTS ${overrides})
    install(FILES ${overrides}
      DESTINATION share/lintian/overrides RENAME ${name} COMPONENT ${name}-papers EXCLUDE_FROM_ALL)
  endif()
  set(packaged ${packaged} ${components} ${name}-papers PARENT_SCOPE)
endfunction()

set(same "(= ${PROJECT_VERSION})")
add_debian_package(orphia-vx sound "engine;command;presets;documentation" ""
"vocoder instrument: engine, command and presets
A stereo vocoder of sixteen bands modelled at circuit level, with a
synthesizer that it plays, a sampler or an input that speaks, and three
effect slots.

The command orphia renders voices and songs with it: a voice speaks, a song
sings, a preset says how.")
set(CPACK_DEBIAN_ORPHIA-VX_PACKAGE_SUGGESTS "orphia-vx-plugins, python3-orphia")

set(library_package liborphia-host${PROJECT_VERSION_MAJOR})
add_debian_package(${library_package} libs library "orphia-vx ${same}"
"library that plays the Orphia VX vocoder instrument
Loads the engine and plays it by names and real values: parameters, presets,
notes, samples, and blocks of sound of any length.")
string(TOUPPER ${library_package} key)
set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/triggers)

add_debian_package(liborphia-vx-dev libdevel development "${library_package} ${same}"
"headers of the library that plays the Orphia VX vocoder
Public headers in C++20, and what find_package(OrphiaVX) of CMake and
pkg-config need.")

# The toolkit of the window loads the libraries of X at run time, and reads where the fonts are.
if(TARGET orphia_program)
  add_debian_package(orphia-vx-plugins sound plugins
    "orphia-vx ${same}, libx11-6, libxext6, libxcursor1, libxinerama1, libxrandr2, fontconfig-config"
"vocoder instrument: plug-ins and a program with a window
Orphia VX and Orphia VX Effect as VST3, LV2 and CLAP for hosts, and the
program orphia-vx, which plays by itself over JACK or ALSA.")
endif()

# The compiled half is for one version of Python and one binary interface of NumPy, which Debian's NumPy tells.
if(ORPHIA_BUILD_PYTHON)
  math(EXPR next_minor "${Python_VERSION_MINOR} + 1")
  set(interpreter "python3 (>= 3.${Python_VERSION_MINOR}), python3 (<< 3.${next_minor})")
  set(numpy python3-numpy)
  if(EXISTS /usr/share/numpy3/versions)
    file(STRINGS /usr/share/numpy3/versions abi REGEX "^abi ")
    string(REPLACE "abi " "python3-numpy, python3-numpy-abi" numpy ${abi})
  endif()
  add_debian_package(python3-orphia python python "orphia-vx ${same}, ${interpreter}, ${numpy}"
"vocoder instrument on NumPy arrays
The instrument Orphia VX and its vocoder core as the Python package orphia,
with the same sound as the command, and orphia batch, which renders whole
folders on all processors or on a cluster.")
  set(CPACK_DEBIAN_PYTHON3-ORPHIA_PACKAGE_SUGGESTS "python3-matplotlib, python3-distributed")
  set(CPACK_DEBIAN_PYTHON3-ORPHIA_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/python/postinst ${CMAKE_CURRENT_SOURCE_DIR}/debian/python/prerm)
endif()
set(CPACK_COMPONENTS_ALL ${packaged})
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/debian/Links.cmake)
include(CPack)
