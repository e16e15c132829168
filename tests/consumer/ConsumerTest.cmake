# The consumer package test: installs this build tree into a prefix of its
# own, builds tests/consumer against the installed package with the same
# compiler, and runs the program without LD_LIBRARY_PATH, so that the library,
# the host stand-ins and liblog must be found through the install rpath.
#
# Under the sanitizer presets the installed library carries the sanitizer
# runtime's references, so the consumer is built and linked with the same
# -fsanitize flags; that also puts the package's exit path under the
# sanitizers.
set(_consumer_sanitize_flags "")
if(SCENARIO_RECORDER_SANITIZE)
  set(_consumer_sanitize_flags "-fsanitize=${SCENARIO_RECORDER_SANITIZE} -fno-omit-frame-pointer")
endif()

add_test(NAME consumer_package
  COMMAND ${CMAKE_COMMAND}
    -DBUILD_TREE=${PROJECT_BINARY_DIR}
    -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/consumer_package
    -DCONSUMER_SOURCE=${CMAKE_CURRENT_LIST_DIR}
    -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
    -DGENERATOR=${CMAKE_GENERATOR}
    -DBUILD_TYPE=${CMAKE_BUILD_TYPE}
    "-DSANITIZE_FLAGS=${_consumer_sanitize_flags}"
    "-DTOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}"
    "-DEMULATOR=${SCENARIO_RECORDER_TEST_EMULATOR}"
    -P ${CMAKE_CURRENT_LIST_DIR}/RunConsumerTest.cmake)
set_tests_properties(consumer_package PROPERTIES TIMEOUT 300)
