# SPDX-License-Identifier: GPL-3.0-or-later
# Writes a program's manual page with help2man, from the program's own
# --help and --version, so the page says what the program says.
#   cmake -DHELP2MAN=… -DPROGRAM=path -DNAME=… -DINCLUDES="a.h2m;b.h2m" -DOUTPUT=page.1
#         [-DCOMMANDS=ON] [-DLOCALE=de_DE.UTF-8 -DLOCPATH=folder] -P ManPage.cmake
# With COMMANDS=ON the commands listed under "Commands:" in --help each get
# a section of their own from "PROGRAM COMMAND --help". Without LOCALE the
# page is English; with it, in that locale's language, read from LOCPATH
# (where the build compiled it: a machine need not have it installed).
get_filename_component(program_dir "${PROGRAM}" DIRECTORY)
get_filename_component(program_name "${PROGRAM}" NAME)
if(LOCALE)
    set(environment LC_ALL=${LOCALE} LANG=${LOCALE} LANGUAGE= LOCPATH=${LOCPATH} "PATH=${program_dir}:$ENV{PATH}")
    set(help2man_locale --locale=${LOCALE})
else()
    set(environment LC_ALL=C.UTF-8 LANG=C.UTF-8 LANGUAGE= "PATH=${program_dir}:$ENV{PATH}")
    set(help2man_locale)
endif()
# The words that --help starts its usage and its list of commands with, and the titles of the sections written here.
if(LOCALE MATCHES "^de")
    set(usage_word "Aufruf")
    set(commands_heading "Befehle")
    set(commands_title "BEFEHLE")
    set(name_title "BEZEICHNUNG")
else()
    set(usage_word "Usage")
    set(commands_heading "Commands")
    set(commands_title "COMMANDS")
    set(name_title "NAME")
endif()
set(include "${OUTPUT}.h2m")
# The page's one-line description as a section of its own: help2man would
# read it as Latin-1 from its command line.
set(extra "[${name_title}]\n${program_name} \\- ${NAME}\n")
foreach(part IN LISTS INCLUDES)
    file(READ "${part}" text)
    string(APPEND extra "${text}\n")
endforeach()

# Text for roff: backslashes escaped, no line read as a request.
function(as_roff text out)
    string(REPLACE "\\" "\\e" text "${text}")
    string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

if(COMMANDS)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env ${environment} ${program_name} --help
                    OUTPUT_VARIABLE help RESULT_VARIABLE failed)
    if(failed)
        message(FATAL_ERROR "${program_name} --help failed")
    endif()
    string(REGEX REPLACE ".*\n${commands_heading}:\n" "" listed "${help}")
    string(REGEX MATCHALL "(^|\n)  [a-z]+ " names "${listed}")
    set(section "[${commands_title}]\n")
    foreach(name IN LISTS names)
        string(STRIP "${name}" name)
        execute_process(COMMAND ${CMAKE_COMMAND} -E env ${environment} ${program_name} ${name} --help
                        OUTPUT_VARIABLE text RESULT_VARIABLE failed)
        if(failed)
            message(FATAL_ERROR "${program_name} ${name} --help failed")
        endif()
        # "Usage: LINE\n       LINE\n\nParagraph\n\nParagraph": the usage lines
        # as the section's heading, each paragraph as a paragraph.
        string(REGEX REPLACE "^${usage_word}: " "" text "${text}")
        string(REGEX REPLACE "\n       " "\n" text "${text}")
        string(STRIP "${text}" text)
        string(FIND "${text}" "\n\n" split)
        string(SUBSTRING "${text}" 0 ${split} usage)
        string(SUBSTRING "${text}" ${split} -1 body)
        string(STRIP "${body}" body)
        as_roff("${usage}" usage)
        as_roff("${body}" body)
        string(REPLACE "\n" "\n.br\n" usage "${usage}")
        string(REPLACE "\n\n" "\n.PP\n" body "${body}")
        string(APPEND section ".SS \"${name}\"\n.B\n${usage}\n.PP\n${body}\n")
    endforeach()
    set(extra "${section}${extra}")
endif()

file(WRITE "${include}" "${extra}")
# The page is dated by SOURCE_DATE_EPOCH where that is set, for a reproducible package.
execute_process(COMMAND ${CMAKE_COMMAND} -E env ${environment} ${HELP2MAN} ${help2man_locale} --no-info --include=${include} --output=${OUTPUT} ${program_name}
                RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "help2man could not write the page of ${program_name}")
endif()
