# SPDX-License-Identifier: GPL-3.0-or-later
# A bundle that is copied by hand needs all of its own. In the packages of a system, what it has in common with orphia-vx,
# without which it cannot be installed, is a link. CPack runs this where the files of all packages lie.
set(plugins ${CPACK_TEMPORARY_DIRECTORY}/orphia-vx-plugins)
set(base ${CPACK_TEMPORARY_DIRECTORY}/orphia-vx)
file(GLOB_RECURSE shared RELATIVE ${base} ${base}/*/liborphia_vx.so ${base}/usr/share/orphia-vx/presets/*
  ${base}/usr/share/orphia-vx/examples/*)
file(GLOB_RECURSE engines RELATIVE ${plugins} ${plugins}/*/liborphia_vx.so)

foreach(engine ${engines})
  get_filename_component(bundle ${engine} DIRECTORY)
  foreach(file ${shared})
    string(REGEX REPLACE "^usr/(share/orphia-vx|lib/.*)/(presets|examples|liborphia_vx)" "\\2" own ${file})
    set(own ${bundle}/${own})
    if(NOT EXISTS ${plugins}/${own})
      continue()
    endif()
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${plugins}/${own} ${base}/${file} RESULT_VARIABLE differs)
    if(differs)
      message(FATAL_ERROR "${own} is not what orphia-vx has of it")
    endif()
    get_filename_component(folder /${own} DIRECTORY)
    file(RELATIVE_PATH target ${folder} /${file})
    file(CREATE_LINK ${target} ${plugins}/${own} SYMBOLIC)
  endforeach()
endforeach()
