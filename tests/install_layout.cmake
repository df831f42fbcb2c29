# SPDX-License-Identifier: GPL-3.0-or-later
# Installs the build into a scratch prefix and checks that every file a desktop needs is there.
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}" RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
foreach(file IN ITEMS
        bin/sorvanel bin/sorvanel-cli bin/sorvanel-agent
        share/applications/io.github.sorvanel.Sorvanel.desktop
        share/icons/hicolor/scalable/apps/io.github.sorvanel.Sorvanel.svg
        share/metainfo/io.github.sorvanel.Sorvanel.metainfo.xml)
    if(NOT EXISTS "${PREFIX}/${file}")
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()
file(REMOVE_RECURSE "${PREFIX}")
