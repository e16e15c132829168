# Run by the consumer_package test (see ConsumerTest.cmake) with cmake -P.
# Every step must succeed; the first failure ends the test with its output.
cmake_minimum_required(VERSION 3.25)

function(run_step name)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${name} failed (${result}):\n${output}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
set(build ${WORK_DIR}/build)
file(REMOVE_RECURSE ${WORK_DIR})

run_step("install" ${CMAKE_COMMAND} --install ${BUILD_TREE} --prefix ${prefix})
# A cross build's consumer is configured with the same toolchain and run
# through its emulator.
set(toolchain "")
if(TOOLCHAIN_FILE)
  set(toolchain -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN_FILE})
endif()
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")

run_step("configure" ${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${build} -G ${GENERATOR} ${toolchain}
         -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_BUILD_TYPE=${BUILD_TYPE}
         -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
         "-DCMAKE_CXX_FLAGS=${SANITIZE_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${SANITIZE_FLAGS}")
run_step("build" ${CMAKE_COMMAND} --build ${build})

execute_process(
  COMMAND ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH --unset=ZYNCAM_HOST_PROPERTIES
          ${emulator} ${build}/consumer
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
set(expected "recorder on: 0\nmodule 0x40007001: Utils\n")
if(NOT result EQUAL 0 OR NOT output STREQUAL expected)
  message(FATAL_ERROR "consumer exited with ${result}\nstdout:\n${output}\nstderr:\n${errors}"
                      "expected stdout:\n${expected}")
endif()
message(STATUS "consumer printed the expected lines:\n${output}")
