# Installs the build into a scratch prefix, then configures, builds and runs the
# consumer against it. Called by ctest with BUILD_DIR, SOURCE_DIR and WORK_DIR.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build
                        -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DCMAKE_BUILD_TYPE=Release
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "configuring the consumer failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "building the consumer failed")
endif()
execute_process(COMMAND ${WORK_DIR}/build/consumer RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "the consumer failed: ${rc}")
endif()
file(GLOB pc ${WORK_DIR}/prefix/lib*/pkgconfig/tarnlib.pc ${WORK_DIR}/prefix/lib/*/pkgconfig/tarnlib.pc)
if(NOT pc)
  message(FATAL_ERROR "tarnlib.pc was not installed")
endif()
