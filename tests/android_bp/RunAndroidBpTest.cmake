# Run by the android_bp_host_build test (see AndroidBpTest.cmake) with
# cmake -P. Every step must succeed; the first failure ends the test.
cmake_minimum_required(VERSION 3.25)

set(host_blueprint platform/host/Android.host.bp)
foreach(tool bpfmt mini-soong make)
  find_program(path_of_${tool} ${tool})
  if(NOT path_of_${tool})
    message(FATAL_ERROR "${tool} was not found: scripts/install-deps tests installs it")
  endif()
endforeach()

function(run_step name)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE result
                  OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${name} failed (${result}):\n${output}")
  endif()
endfunction()

# Well-formed: bpfmt parses both files and would change nothing.
execute_process(COMMAND ${path_of_bpfmt} -l Android.bp ${host_blueprint}
                WORKING_DIRECTORY ${SOURCE_DIR} RESULT_VARIABLE result
                OUTPUT_VARIABLE unformatted ERROR_VARIABLE errors)
if(NOT result EQUAL 0 OR unformatted)
  execute_process(COMMAND ${path_of_bpfmt} -d Android.bp ${host_blueprint}
                  WORKING_DIRECTORY ${SOURCE_DIR} OUTPUT_VARIABLE diff ERROR_VARIABLE diff)
  message(FATAL_ERROR "bpfmt: ${errors}${unformatted}\n${diff}")
endif()

# One blueprint, the stand-ins first, in a scratch folder that sees the
# sources through links; the Makefile's outputs land there too.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
foreach(folder utils platform)
  file(CREATE_LINK ${SOURCE_DIR}/${folder} ${WORK_DIR}/${folder} SYMBOLIC)
endforeach()
file(READ ${SOURCE_DIR}/${host_blueprint} host_stand_ins)
file(READ ${SOURCE_DIR}/Android.bp device)
file(WRITE ${WORK_DIR}/Android.bp "${host_stand_ins}\n${device}")
run_step("mini-soong" ${path_of_mini-soong} -o soong.mk)

# mini-soong passes its own -std=c++11 and drops -Werror: the standard that
# Android.bp names and its -Werror are given back. Debian's Android headers
# (liblog's and libcutils') are system headers, as on a device. -L. puts the
# stand-ins ahead of Debian's own libcutils, and every symbol must resolve.
if(NOT device MATCHES "cpp_std: \"([^\"]+)\"")
  message(FATAL_ERROR "Android.bp names no cpp_std")
endif()
set(cxxflags "-std=${CMAKE_MATCH_1}")
if(device MATCHES "\"-Werror\"")
  string(APPEND cxxflags " -Werror")
endif()
run_step("make" make -f soong.mk -j2 build CC=${CXX_COMPILER} "CXXFLAGS=${cxxflags}"
         "CPPFLAGS=-isystem /usr/include/android" "LDFLAGS=-L. -Wl,--no-undefined")

function(exported_symbols library out)
  execute_process(COMMAND ${NM} -D --defined-only --format=posix ${library}
                  RESULT_VARIABLE result OUTPUT_VARIABLE table ERROR_VARIABLE errors)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "nm ${library}: ${errors}")
  endif()
  string(REGEX REPLACE " [^\n]*" "" names "${table}")
  string(REGEX REPLACE "\n$" "" names "${names}")
  string(REPLACE "\n" ";" names "${names}")
  list(SORT names)
  set(${out} "${names}" PARENT_SCOPE)
endfunction()

exported_symbols(${WORK_DIR}/libzyncam_scenariorecorder.so from_android_bp)
exported_symbols(${CMAKE_LIBRARY} from_cmake)
if(NOT from_android_bp STREQUAL from_cmake)
  set(only_android_bp ${from_android_bp})
  list(REMOVE_ITEM only_android_bp ${from_cmake})
  set(only_cmake ${from_cmake})
  list(REMOVE_ITEM only_cmake ${from_android_bp})
  string(REPLACE ";" "\n  " only_android_bp "${only_android_bp}")
  string(REPLACE ";" "\n  " only_cmake "${only_cmake}")
  message(FATAL_ERROR "the library of Android.bp and the CMake build's export different symbols\n"
                      "only from Android.bp:\n  ${only_android_bp}\nonly from CMake:\n  ${only_cmake}")
endif()
list(LENGTH from_cmake count)
message(STATUS "Android.bp's library builds on the host and exports the CMake build's ${count} symbols")
