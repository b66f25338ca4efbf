# Run with cmake -P; see CMakeLists.txt beside this file.
function(run what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT code EQUAL 0)
        message(FATAL_ERROR "${what} failed (${code}):\n${out}\n${err}")
    endif()
    set(output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run("cmake --install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run("configuring the tiny host" ${CMAKE_COMMAND} -S ${HOST_SOURCE} -B ${WORK_DIR}/build
    -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${prefix})
run("building the tiny host" ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run("the tiny host" ${WORK_DIR}/build/tiny_host)
if(NOT output MATCHES "loaded arx-matchmaking from ${prefix}/")
    message(FATAL_ERROR "the tiny host did not load the installed plug-in:\n${output}")
endif()

# The installed arx-host finds the installed plug-in by itself.
file(GLOB scenario ${prefix}/share/arx-matchmaking/scenarios/normal-course.yaml)
if(NOT scenario)
    message(FATAL_ERROR "no scenario was installed")
endif()
run("the installed arx-host" ${prefix}/bin/arx-host --scenario ${scenario})
if(NOT output MATCHES "from ${prefix}/.*all [0-9]+ steps held")
    message(FATAL_ERROR "the installed arx-host did not play its scenario:\n${output}")
endif()
