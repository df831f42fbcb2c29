# SPDX-License-Identifier: GPL-3.0-or-later
# Fails when a user-visible text has no German translation, or one uses
# another word than the rest for the same thing. lupdate reads
# the sources into a copy of the .ts file, exactly as `update_translations`
# does; every text it then marks unfinished is missing.
#   cmake -DLUPDATE=… -DTS=… -DSOURCES=… -DWORK=… -DOPTIONS=… -P translations_complete.cmake
file(MAKE_DIRECTORY "${WORK}")
configure_file("${TS}" "${WORK}/check.ts" COPYONLY)
execute_process(COMMAND "${LUPDATE}" ${OPTIONS} "${SOURCES}" -ts "${WORK}/check.ts"
    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "lupdate failed:\n${output}")
endif()
file(READ "${WORK}/check.ts" ts)
string(REGEX MATCHALL "<source>[^<]*</source>[ \t\r\n]*<translation type=\"unfinished\"" missing "${ts}")
if(missing)
    list(LENGTH missing count)
    string(REGEX REPLACE "<source>([^<]*)</source>[^;]*" "  \\1" missing "${missing}")
    string(REPLACE ";" "\n" missing "${missing}")
    message(FATAL_ERROR "${count} texts lack a German translation:\n${missing}")
endif()
# One word for each thing: an undo is "rückgängig machen" throughout, never "widerrufen".
string(REGEX MATCHALL "<translation>[^<]*[Ww]iderruf[^<]*</translation>" strays "${ts}")
if(strays)
    string(REPLACE ";" "\n" strays "${strays}")
    message(FATAL_ERROR "Undo is \"rückgängig machen\" in German, not \"widerrufen\":\n${strays}")
endif()
string(REGEX MATCHALL "<message>" messages "${ts}")
list(LENGTH messages count)
message(STATUS "All ${count} texts are translated.")
