# Installs the tree that the programs expect (root/bin/unwrapped/lnx64.o, root/lib/lnx64.o), the
# public headers, and a CMake package with which a host finds hcrpt::hcrpt by find_package(hcrpt).

include(CMakePackageConfigHelpers)
set(package_dir lib/cmake/hcrpt)

install(TARGETS crash_reporter velcurl RUNTIME DESTINATION ${HCRPT_BIN_SUBDIR})
install(TARGETS hcrpt hcrpt_platform hcrpt_threads EXPORT hcrpt LIBRARY DESTINATION ${HCRPT_LIB_SUBDIR})
install(DIRECTORY include/hcrpt DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES platform/HUTEnv.h platform/HUTExport.h platform/HUTFile.h platform/HUTFork.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hut)
if(TARGET zeb_common)
    install(TARGETS zeb_common EXPORT hcrpt LIBRARY DESTINATION ${HCRPT_LIB_SUBDIR})
    install(FILES platform/posix/HUTPlatform.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hut)
endif()

install(EXPORT hcrpt NAMESPACE hcrpt:: FILE hcrptTargets.cmake DESTINATION ${package_dir})
configure_package_config_file(cmake/hcrptConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/hcrptConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/hcrptConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/hcrptConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/hcrptConfigVersion.cmake
        DESTINATION ${package_dir})
