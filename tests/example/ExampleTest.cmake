# The example test: installs this build tree into a prefix of its own, builds
# examples/ against the installed package with the same compiler, runs the
# example without LD_LIBRARY_PATH (so the library, the host stand-ins and
# liblog must be found through the install rpath) with its own property file,
# and compares the files it wrote with the records it submitted.
#
# Under the sanitizer presets the installed library carries the sanitizer
# runtime's references, so the example is built and linked with the same
# -fsanitize flags; that also puts the package's exit path under the
# sanitizers.
set(_example_sanitize_flags "")
if(SCENARIO_RECORDER_SANITIZE)
  set(_example_sanitize_flags "-fsanitize=${SCENARIO_RECORDER_SANITIZE} -fno-omit-frame-pointer")
endif()

add_test(NAME hal_example
  COMMAND ${CMAKE_COMMAND}
    -DBUILD_TREE=${PROJECT_BINARY_DIR}
    -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/hal_example
    -DEXAMPLE_SOURCE=${PROJECT_SOURCE_DIR}/examples
    -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
    -DGENERATOR=${CMAKE_GENERATOR}
    -DBUILD_TYPE=${CMAKE_BUILD_TYPE}
    "-DSANITIZE_FLAGS=${_example_sanitize_flags}"
    "-DTOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}"
    "-DEMULATOR=${SCENARIO_RECORDER_TEST_EMULATOR}"
    -P ${CMAKE_CURRENT_LIST_DIR}/RunExampleTest.cmake)
set_tests_properties(hal_example PROPERTIES TIMEOUT 300)
