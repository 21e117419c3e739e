# Counts the instructions of one workload and compares them with the recorded number: a slow-down
# shows without a clock.
#
#   cmake -DPROGRAM=... -DWORKLOAD=... -DCOUNTS=counts.txt -DWORK=DIRECTORY -P check.cmake
find_program(VALGRIND valgrind)
if(NOT VALGRIND)
    message("skipped: there is no valgrind")
    return()
endif()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
execute_process(
    COMMAND ${VALGRIND} --tool=callgrind --callgrind-out-file=/dev/null --toggle-collect=workload
            ${PROGRAM} ${WORKLOAD} ${WORK}
    RESULT_VARIABLE result ERROR_VARIABLE output OUTPUT_QUIET)
file(REMOVE_RECURSE ${WORK})
# The last figure is that of the program; the others are of children that it forks.
string(REGEX MATCHALL "Collected : [0-9]+" figures "${output}")
list(POP_BACK figures figure)
string(REGEX MATCH "[0-9]+" count "${figure}")
if(NOT result EQUAL 0 OR NOT count)
    message(FATAL_ERROR "${WORKLOAD} could not be counted:\n${output}")
endif()
file(STRINGS ${COUNTS} line REGEX "^${WORKLOAD} ")
if(NOT line)
    message(FATAL_ERROR "no recorded count of ${WORKLOAD}; now it is ${count}")
endif()
string(REGEX REPLACE "^${WORKLOAD} +" "" recorded "${line}")
math(EXPR least "${recorded} * 90 / 100")
math(EXPR most "${recorded} * 110 / 100")
message("${WORKLOAD}: ${count} instructions, recorded ${recorded}")
if(count LESS least OR count GREATER most)
    message(FATAL_ERROR "${WORKLOAD}: ${count} instructions instead of ${recorded} (10 % are allowed)")
endif()
