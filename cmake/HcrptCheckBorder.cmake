# Fails when the archive OWN calls a symbol that one of the archives in BEYOND defines. NM is the
# tool that lists symbols.
cmake_minimum_required(VERSION 3.25)

# Sets out to the demangled symbols of an archive whose type is one of the letters.
function(read_symbols out archive letters)
    execute_process(COMMAND ${NM} --demangle --extern-only --format=posix ${archive}
        OUTPUT_VARIABLE output RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "cannot read the symbols of ${archive}")
    endif()
    string(REGEX MATCHALL "[^\n]+ [${letters}]( [^\n]*)?\n" lines "${output}")
    list(TRANSFORM lines REPLACE " [${letters}]( [^\n]*)?\n$" "")
    set(${out} "${lines}" PARENT_SCOPE)
endfunction()

read_symbols(called ${OWN} U)
foreach(archive IN LISTS BEYOND)
    read_symbols(defined ${archive} TBDRV)  # not W: every archive that calls an inline function has a copy
    foreach(symbol IN LISTS defined)
        if(symbol IN_LIST called)
            message(FATAL_ERROR "${OWN} calls ${symbol} of ${archive}, which its folder does not name "
                                "under USES.")
        endif()
    endforeach()
endforeach()
