# SPDX-License-Identifier: GPL-3.0-or-later
# The Python package, which has engine, command and presets by links into the same installation. (Its wheel has copies.)
find_package(Python 3.11 REQUIRED COMPONENTS Interpreter)

# Debian has one folder for all versions.
set(python_folder lib/python${Python_VERSION_MAJOR}.${Python_VERSION_MINOR}/site-packages)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS /etc/debian_version)
  set(python_folder lib/python3/dist-packages)
endif()
set(ORPHIA_PYTHON_FOLDER ${python_folder} CACHE STRING "Where Python looks for packages, below the prefix")

set(package_folder ${CMAKE_INSTALL_PREFIX}/${ORPHIA_PYTHON_FOLDER}/orphia)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/orphia DESTINATION ${ORPHIA_PYTHON_FOLDER} COMPONENT python
  FILES_MATCHING PATTERN "*.py" PATTERN "*.pyi" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
install(TARGETS orphia_python LIBRARY DESTINATION ${ORPHIA_PYTHON_FOLDER}/orphia/native COMPONENT python)

# What importlib.metadata and pip tell of it. Without a list of its files pip leaves them to who installed them.
set(distribution ${CMAKE_CURRENT_BINARY_DIR}/python/orphia-${PROJECT_VERSION}.dist-info)
file(MAKE_DIRECTORY ${distribution})
execute_process(COMMAND ${Python_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/python/write_metadata.py
  ${PROJECT_BINARY_DIR}/python/pyproject.toml ${distribution}/METADATA COMMAND_ERROR_IS_FATAL ANY)
set(installer cmake)
if(ORPHIA_PYTHON_FOLDER MATCHES "dist-packages$")
  set(installer debian)
endif()
file(WRITE ${distribution}/INSTALLER "${installer}\n")
install(DIRECTORY ${distribution} DESTINATION ${ORPHIA_PYTHON_FOLDER} COMPONENT python)

# A link from a folder of the package to what the installation has, wherever both are moved.
function(install_link name folder target)
  set(link ${CMAKE_CURRENT_BINARY_DIR}/python/${name})
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/python)
  file(RELATIVE_PATH target ${package_folder}/${folder} ${target})
  file(REMOVE ${link})
  file(CREATE_LINK ${target} ${link} SYMBOLIC)
  install(FILES ${link} DESTINATION ${ORPHIA_PYTHON_FOLDER}/orphia/${folder} COMPONENT python)
endfunction()
set(prefix ${CMAKE_INSTALL_PREFIX})
install_link(liborphia_vx.so native ${prefix}/${ORPHIA_ENGINE_FOLDER}/liborphia_vx.so)
install_link(orphia native ${CMAKE_INSTALL_FULL_BINDIR}/orphia)
install_link(orphia-vx share ${prefix}/${ORPHIA_SHARE_FOLDER})
