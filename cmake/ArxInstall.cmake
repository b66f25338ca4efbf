# What `cmake --install` gives a host author: the plug-in library, the one header a host includes
# (arx/host_boundary.h), arx-host with its scenarios, and the package config behind
# find_package(ArxMatchmaking), which gives the imported targets ArxMatchmaking::host_boundary
# (the header) and ArxMatchmaking::plugin (the library, to be loaded by its path; it carries the
# header too).
include(CMakePackageConfigHelpers)

set(ARX_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ArxMatchmaking)
set(ARX_SCENARIOS_DIR ${CMAKE_INSTALL_DATADIR}/arx-matchmaking/scenarios)

install(FILES ${PROJECT_SOURCE_DIR}/include/arx/host_boundary.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/arx)
set_target_properties(arx_host_boundary PROPERTIES EXPORT_NAME host_boundary)
install(TARGETS arx_host_boundary EXPORT ArxMatchmakingTargets)
if(TARGET arx_matchmaking)
    target_link_libraries(arx_matchmaking INTERFACE arx_host_boundary)
    set_target_properties(arx_matchmaking PROPERTIES EXPORT_NAME plugin)
    install(TARGETS arx_matchmaking EXPORT ArxMatchmakingTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
if(TARGET arx-host)
    install(TARGETS arx-host RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/scenarios/ DESTINATION ${ARX_SCENARIOS_DIR}
        FILES_MATCHING PATTERN "*.yaml" PATTERN "*.yml" PATTERN "*.json")
endif()

install(EXPORT ArxMatchmakingTargets NAMESPACE ArxMatchmaking:: DESTINATION ${ARX_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ArxMatchmakingConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ArxMatchmakingConfig.cmake
    INSTALL_DESTINATION ${ARX_PACKAGE_DIR}
    PATH_VARS ARX_SCENARIOS_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ArxMatchmakingConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ArxMatchmakingConfig.cmake
    ${PROJECT_BINARY_DIR}/ArxMatchmakingConfigVersion.cmake
    DESTINATION ${ARX_PACKAGE_DIR})
