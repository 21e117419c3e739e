# Fails when OBJECT needs a symbol that is not in the list ALLOWED and does not match the regular
# expression OWN, if there is one. NM is the tool that lists them.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} --undefined-only --format=just-symbols ${OBJECT}
    OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR OBJECT STREQUAL "")
    message(FATAL_ERROR "cannot read the symbols of '${OBJECT}'")
endif()
string(REGEX MATCHALL "[^\n]+" symbols "${output}")
foreach(symbol IN LISTS symbols)
    if(symbol IN_LIST ALLOWED OR symbol STREQUAL "_GLOBAL_OFFSET_TABLE_")
        continue()
    endif()
    if(DEFINED OWN AND symbol MATCHES "${OWN}")
        continue()
    endif()
    message(FATAL_ERROR "${OBJECT} calls ${symbol}; allowed: ${ALLOWED}")
endforeach()
if(NOT symbols)
    message(FATAL_ERROR "${OBJECT} calls nothing at all; is it the right file?")
endif()
