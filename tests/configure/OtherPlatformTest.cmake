# Configures the project in the directory WORK with LIBRARY as the platform library, and links one
# folder of it.
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN} ends with ${result}:\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK} -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DHCRPT_PLATFORM_LIBRARY=${LIBRARY} -DHCRPT_BUILD_TESTS=OFF -DHCRPT_BUILD_EXAMPLES=OFF
    -DHCRPT_BUILD_REPORT_SERVER=OFF)
run(${CMAKE_COMMAND} --build ${WORK} --target hcrpt_settings_border)
run(${READELF} --dynamic --wide ${WORK}/border/libhcrpt_settings_border.so)
file(GLOB_RECURSE ours ${WORK}/libzeb_common*)
file(REMOVE_RECURSE ${WORK})

if(NOT output MATCHES "NEEDED[^\n]*libzeb_common\\.so")
    message(FATAL_ERROR "It is not linked:\n${output}")
elseif(ours)
    message(FATAL_ERROR "Ours is built all the same: ${ours}")
endif()
