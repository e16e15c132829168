# Run by the hal_example test (see ExampleTest.cmake) with cmake -P. Every
# step must succeed; the first failure ends the test with its output.
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
set(run ${WORK_DIR}/run)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${run})

run_step("install" ${CMAKE_COMMAND} --install ${BUILD_TREE} --prefix ${prefix})
# A cross build's example is configured with the same toolchain and run
# through its emulator.
set(toolchain "")
if(TOOLCHAIN_FILE)
  set(toolchain -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN_FILE})
endif()
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")

run_step("configure" ${CMAKE_COMMAND} -S ${EXAMPLE_SOURCE} -B ${build} -G ${GENERATOR} ${toolchain}
         -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_BUILD_TYPE=${BUILD_TYPE}
         -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
         "-DCMAKE_CXX_FLAGS=${SANITIZE_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${SANITIZE_FLAGS}")
run_step("build" ${CMAKE_COMMAND} --build ${build})

# The property file names the relative folder example_logs: it lands in ${run}.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH
          ZYNCAM_HOST_PROPERTIES=${EXAMPLE_SOURCE}/example.properties
          ${emulator} ${build}/hal_example
  WORKING_DIRECTORY ${run}
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "hal_example exited with ${result}\nstdout:\n${output}\nstderr:\n${errors}")
endif()

# What the example submitted: per request the middleware's decision on the
# request thread, then the P2 module's decision and its MDP stage's result on
# the pipeline thread, the result's text on the headline. Preview requests 0,
# 1, 2 and 4 share the series of unique key 7; capture request 3 has its own.
function(expected_block request kind out)
  if(kind STREQUAL "capture")
    set(features "MFNR")
    set(module "P2Capture")
    set(mdp "MDP out 4000x3000")
  else()
    set(features "3DNR|EIS")
    set(module "P2Streaming")
    set(mdp "MDP out 1920x1080")
  endif()
  math(EXPR index "40 + ${request}")
  set(${out} "[UKey: 7][ReqNum: ${request}], ${mdp}
[SensorId: 0][ModuleName: CameraMiddleware][Decision: TRIGGER_FEATURE] features ${features}
[SensorId: 0][ModuleName: ${module}][Decision: ISP_FLOW] tuning index ${index}
[SensorId: 0][ModuleName: ${module}][Stage_MDP][Result: ISP_FLOW] ${mdp}
" PARENT_SCOPE)
endfunction()

set(expected_preview "")
foreach(request 0 1 2 4)
  expected_block(${request} preview block)
  string(APPEND expected_preview "${block}")
endforeach()
expected_block(3 capture expected_capture)

file(GLOB written RELATIVE ${run}/example_logs ${run}/example_logs/*)
list(LENGTH written count)
file(GLOB preview ${run}/example_logs/000000007_0000_0000_preview__*_TuningLog_01.txt)
file(GLOB capture ${run}/example_logs/000000007_0003_0001_capture__*_TuningLog_01.txt)
if(NOT count EQUAL 2 OR NOT preview OR NOT capture)
  message(FATAL_ERROR "expected one preview and one capture file, found: ${written}\n"
                      "stdout:\n${output}\nstderr:\n${errors}")
endif()
foreach(kind preview capture)
  file(READ ${${kind}} content)
  if(NOT content STREQUAL expected_${kind})
    message(FATAL_ERROR "${${kind}} holds:\n${content}\nexpected:\n${expected_${kind}}")
  endif()
  get_filename_component(name ${${kind}} NAME)
  string(FIND "${output}" "example_logs/${name}" listed)
  if(listed EQUAL -1)
    message(FATAL_ERROR "hal_example did not list ${name}:\n${output}")
  endif()
endforeach()
message(STATUS "hal_example wrote the records it submitted:\n${output}")
