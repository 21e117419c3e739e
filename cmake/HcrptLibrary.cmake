# The installed shared library, made of the objects of all folders. (Made of static libraries, it
# would lose classes that only hosts use.)

hcrpt_all_folders(folders)
list(TRANSFORM folders REPLACE "(.+)" "$<TARGET_OBJECTS:hcrpt_\\1_objects>" OUTPUT_VARIABLE objects)

add_library(hcrpt SHARED ${objects})
add_library(hcrpt::hcrpt ALIAS hcrpt)
# Readers of traces recognise the library's own frames by the word HCrashReporter in the file name;
# see docs/architecture.md.
set_target_properties(hcrpt PROPERTIES OUTPUT_NAME zeb_HCrashReporter LINKER_LANGUAGE CXX)
hcrpt_shared_library(hcrpt)
target_include_directories(hcrpt PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(hcrpt PUBLIC hcrpt_platform PRIVATE hcrpt_base)
if(NOT HCRPT_SANITIZE)
    target_link_options(hcrpt PRIVATE -Wl,-z,defs)
endif()
