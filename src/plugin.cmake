# The plug-in: one shared library whose only exported symbol is load_arx_matchmaking. Every
# subsystem is linked in whole; the version script keeps everything else local, including the
# replaced global new and delete, which therefore count only this module's allocations.
if(TARGET arx_matchmaking_core)
    add_library(arx_matchmaking SHARED ${CMAKE_CURRENT_SOURCE_DIR}/matchmaking/module_entry.cc)
    target_link_libraries(arx_matchmaking PRIVATE arx_matchmaking_core arx_global_new)
    target_link_options(arx_matchmaking PRIVATE
        -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/arx_matchmaking.map
        -Wl,--exclude-libs,ALL)
    # Sanitizer runtimes live in the executable, so only plain builds can insist on a closed link.
    if(NOT ARX_SANITIZE AND NOT ARX_TSAN)
        target_link_options(arx_matchmaking PRIVATE -Wl,--no-undefined)
    endif()
    set_target_properties(arx_matchmaking PROPERTIES
        LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/arx_matchmaking.map)
    arx_warnings(arx_matchmaking)
endif()
