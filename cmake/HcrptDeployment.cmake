# Values on which the deployment and its report server agree. The sources of settings and transmit
# get them as compile definitions. A malformed value stops the configuration.

set(HCRPT_REPORT_HOST "crash-reports.veltra.example" CACHE STRING
    "Host name of the report server")
set(HCRPT_DOMAIN_NAME "veltra.example" CACHE STRING
    "The maker's own domain name")
set(HCRPT_ACCESS_CODE "crpt1" CACHE STRING
    "Access code of the report server: five characters, lower-case letters and one digit")

function(hcrpt_require_host_name variable)
    set(value "${${variable}}")
    if(value STREQUAL "")
        message(FATAL_ERROR "${variable} is empty; it must be a host name.")
    endif()
    # The value stands unquoted in a shell command line, so it may contain only letters, digits, "-"
    # and ".".
    set(label "[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?")
    if(NOT value MATCHES "^${label}(\\.${label})*$")
        message(FATAL_ERROR "${variable}='${value}' is not a host name.")
    endif()
endfunction()

function(hcrpt_require_access_code variable)
    set(value "${${variable}}")
    string(LENGTH "${value}" length)
    string(REGEX REPLACE "[a-z]" "" digits "${value}")
    if(NOT length EQUAL 5 OR NOT value MATCHES "^[a-z0-9]+$" OR NOT digits MATCHES "^[0-9]$")
        message(FATAL_ERROR "${variable}='${value}' is not an access code: "
                            "five characters, four lower-case letters and one digit.")
    endif()
endfunction()

hcrpt_require_host_name(HCRPT_REPORT_HOST)
hcrpt_require_host_name(HCRPT_DOMAIN_NAME)
hcrpt_require_access_code(HCRPT_ACCESS_CODE)
