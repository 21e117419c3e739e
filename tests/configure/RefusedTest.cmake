# Configures the project with DEFINITIONS in the directory WORK and expects it to end with the error
# TEXT.
cmake_minimum_required(VERSION 3.25)

separate_arguments(definitions UNIX_COMMAND "${DEFINITIONS}")
file(REMOVE_RECURSE ${WORK})
execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK} -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
            ${definitions}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
file(REMOVE_RECURSE ${WORK})

string(REGEX REPLACE "[ \n]+" " " said "${errors}")
string(FIND "${said}" " ${TEXT} " position)
if(result EQUAL 0)
    message(FATAL_ERROR "The project is configured with ${DEFINITIONS}:\n${output}${errors}")
elseif(position EQUAL -1)
    message(FATAL_ERROR "Expected '${TEXT}', but:\n${output}${errors}")
endif()
