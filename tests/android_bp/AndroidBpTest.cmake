# The device build file built on the host: bpfmt finds Android.bp
# well-formed, mini-soong turns it (with the stand-ins of
# platform/host/Android.host.bp) into a Makefile, the library builds from it
# with the preset's compiler and the flags and C++ standard that Android.bp
# names, and exports the same symbols as this build's library. Only in a
# native build without sanitizers, whose library is the one compared.
if(NOT SCENARIO_RECORDER_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  add_test(NAME android_bp_host_build
    COMMAND ${CMAKE_COMMAND}
      -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
      -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/android_bp
      -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
      -DNM=${CMAKE_NM}
      -DCMAKE_LIBRARY=$<TARGET_FILE:scenariorecorder>
      -P ${CMAKE_CURRENT_LIST_DIR}/RunAndroidBpTest.cmake)
  set_tests_properties(android_bp_host_build PROPERTIES TIMEOUT 600)
endif()
