# Compiles a source that includes HEADER with the include directories DIRECTORIES of a target. VERDICT
# says whether the target may see it.
cmake_minimum_required(VERSION 3.25)

list(REMOVE_ITEM DIRECTORIES "")  # what a generator expression leaves of installed directories
list(TRANSFORM DIRECTORIES PREPEND -I)
execute_process(
    COMMAND ${CMAKE_COMMAND} -E echo "#include \"${HEADER}\""
    COMMAND ${COMPILER} -std=c++17 -fsyntax-only ${DIRECTORIES} -x c++ -
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(VERDICT STREQUAL SEEN AND NOT result EQUAL 0)
    message(FATAL_ERROR "${HEADER} is hidden:\n${output}")
elseif(VERDICT STREQUAL HIDDEN AND result EQUAL 0)
    message(FATAL_ERROR "${HEADER} can be included.")
elseif(VERDICT STREQUAL HIDDEN AND NOT output MATCHES "${HEADER}: No such file or directory")
    message(FATAL_ERROR "${HEADER} fails for another reason:\n${output}")
endif()
