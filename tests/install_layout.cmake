# SPDX-License-Identifier: GPL-3.0-or-later
# Installs the build into a scratch prefix and checks that every file a desktop
# needs is there, the bash completion, and the manual pages the build made.
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}" RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
set(expected
    bin/sorvanel bin/sorvanel-cli bin/sorvanel-agent
    share/applications/io.github.sorvanel.Sorvanel.desktop
    share/icons/hicolor/scalable/apps/io.github.sorvanel.Sorvanel.svg
    share/metainfo/io.github.sorvanel.Sorvanel.metainfo.xml
    share/bash-completion/completions/sorvanel-cli)
foreach(page IN LISTS MAN_PAGES)
    get_filename_component(name "${page}" NAME)
    get_filename_component(folder "${page}" DIRECTORY)
    get_filename_component(language "${folder}" NAME)
    if(language STREQUAL "de")
        list(APPEND expected "share/man/de/man1/${name}.gz")
    else()
        list(APPEND expected "share/man/man1/${name}.gz")
    endif()
endforeach()
foreach(file IN LISTS expected)
    if(NOT EXISTS "${PREFIX}/${file}")
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()
file(REMOVE_RECURSE "${PREFIX}")
