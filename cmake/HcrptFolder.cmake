# Functions with which each folder declares its targets.

# hcrpt_own_headers(<out> <folder>): sets <out> to an include directory in which nothing but the
# headers of this source folder is found, as "<folder's name>/<header>.h".
function(hcrpt_own_headers out folder)
    cmake_path(GET folder FILENAME name)
    set(directory ${PROJECT_BINARY_DIR}/include/${name})
    file(MAKE_DIRECTORY ${directory})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${directory}/${name} SYMBOLIC)
    set(${out} ${directory} PARENT_SCOPE)
endfunction()

# hcrpt_single_headers(<out> <name> <file>...): the same for single headers of the current source
# folder, found as "<header>.h". <name> tells the include directory from others.
function(hcrpt_single_headers out name)
    set(directory ${PROJECT_BINARY_DIR}/include/${name})
    file(MAKE_DIRECTORY ${directory})
    foreach(header IN LISTS ARGN)
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${directory}/${header} SYMBOLIC)
    endforeach()
    set(${out} ${directory} PARENT_SCOPE)
endfunction()

# hcrpt_folder(<name> SOURCES <file>... [USES <folder>...] [LIBRARIES <target>...])
#
# Makes from one source folder
#   hcrpt_<name>_objects   the object files, which end in libzeb_HCrashReporter.so,
#   hcrpt_<name>           a static library of the same objects for unit tests; it brings the
#                          libraries and headers of the folders that it uses,
#   hcrpt_<name>_border    a shared library linked from the objects and the folders named in
#                          USES alone, without undefined symbols: a call into a folder that is
#                          not named there fails the build. It is not installed.
# The border library's link line also holds folders that only the named ones use; a check of the
# symbols finds calls into those.
# The objects see the headers of the folder itself and of those named in USES, no others: an include
# across a border fails the build as a call does. Every folder may use base/, the public headers and
# those of the platform library.
function(hcrpt_folder name)
    cmake_parse_arguments(arg "" "" "SOURCES;USES;LIBRARIES" ${ARGN})
    list(TRANSFORM arg_USES PREPEND hcrpt_ OUTPUT_VARIABLE uses)
    hcrpt_own_headers(own_headers ${name})
    list(TRANSFORM arg_USES PREPEND ${PROJECT_BINARY_DIR}/include/ OUTPUT_VARIABLE used_headers)

    add_library(hcrpt_${name}_objects OBJECT ${arg_SOURCES})
    target_include_directories(hcrpt_${name}_objects
        PUBLIC ${PROJECT_SOURCE_DIR}/include
        PRIVATE ${own_headers} ${used_headers})
    target_link_libraries(hcrpt_${name}_objects
        PUBLIC hcrpt_platform hcrpt_base ${arg_LIBRARIES} PRIVATE hcrpt_flags)

    add_library(hcrpt_${name} STATIC $<TARGET_OBJECTS:hcrpt_${name}_objects>)
    set_target_properties(hcrpt_${name} PROPERTIES LINKER_LANGUAGE CXX)
    target_include_directories(hcrpt_${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${own_headers})
    target_link_libraries(hcrpt_${name} PUBLIC ${uses} hcrpt_platform hcrpt_base ${arg_LIBRARIES})

    add_library(hcrpt_${name}_border SHARED $<TARGET_OBJECTS:hcrpt_${name}_objects>)
    set_target_properties(hcrpt_${name}_border PROPERTIES
        LINKER_LANGUAGE CXX LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/border)
    target_link_libraries(hcrpt_${name}_border PRIVATE ${uses} hcrpt_platform hcrpt_base hcrpt_flags)
    if(NOT HCRPT_SANITIZE)  # only a program resolves a sanitizer's own symbols
        target_link_options(hcrpt_${name}_border PRIVATE -Wl,-z,defs)
    endif()

    set(reach "")
    foreach(folder IN LISTS uses)
        get_target_property(beyond ${folder} HCRPT_REACH)
        list(APPEND reach ${folder} ${beyond})
    endforeach()
    list(REMOVE_DUPLICATES reach)
    set_target_properties(hcrpt_${name} PROPERTIES HCRPT_REACH "${reach}")
    list(REMOVE_ITEM reach ${uses})
    if(reach)
        list(TRANSFORM reach REPLACE "(.+)" "$<TARGET_FILE:\\1>")
        add_custom_command(TARGET hcrpt_${name}_border POST_BUILD
            COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DOWN=$<TARGET_FILE:hcrpt_${name}>
                    "-DBEYOND=${reach}" -P ${PROJECT_SOURCE_DIR}/cmake/HcrptCheckBorder.cmake
            VERBATIM)
    endif()

    set_property(GLOBAL APPEND PROPERTY HCRPT_FOLDERS ${name})
endfunction()

# Sets out to the folder names that hcrpt_folder() has collected so far.
function(hcrpt_all_folders out)
    get_property(folders GLOBAL PROPERTY HCRPT_FOLDERS)
    set(${out} ${folders} PARENT_SCOPE)
endfunction()

# hcrpt_companion(<target>): puts a program beside the others of an installation.
function(hcrpt_companion target)
    set_target_properties(${target} PROPERTIES
        RUNTIME_OUTPUT_DIRECTORY ${HCRPT_ROOT_DIR}/${HCRPT_BIN_SUBDIR}
        BUILD_RPATH "${HCRPT_LIB_RPATH}" BUILD_RPATH_USE_ORIGIN ON
        INSTALL_RPATH "${HCRPT_LIB_RPATH}")
    target_link_libraries(${target} PRIVATE hcrpt_flags)
endfunction()

# hcrpt_shared_library(<target>): puts a shared library where the programs look for it.
function(hcrpt_shared_library target)
    set_target_properties(${target} PROPERTIES
        LIBRARY_OUTPUT_DIRECTORY ${HCRPT_ROOT_DIR}/${HCRPT_LIB_SUBDIR}
        BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN")
    target_link_libraries(${target} PRIVATE hcrpt_flags)
endfunction()
