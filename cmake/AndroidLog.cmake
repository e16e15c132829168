# Android's liblog as the imported target AndroidLog::log.
#
# On the host it comes from Debian's android-liblog-dev, which ships neither a
# pkg-config nor a CMake file. Its headers are marked as system headers: they
# hold clang-only pragmas that GCC would reject under -Werror otherwise.
if(TARGET AndroidLog::log)
  return()
endif()

find_path(ANDROID_LOG_INCLUDE_DIR android/log.h
  HINTS /usr/include/android
  NO_DEFAULT_PATH)
find_library(ANDROID_LOG_LIBRARY NAMES log
  HINTS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android /usr/lib/x86_64-linux-gnu/android
  NO_DEFAULT_PATH)

if(NOT ANDROID_LOG_INCLUDE_DIR OR NOT ANDROID_LOG_LIBRARY)
  message(FATAL_ERROR
    "Android's liblog was not found (looked for /usr/include/android/android/log.h and "
    "/usr/lib/<arch>/android/liblog.so). Install it with:\n"
    "  sudo apt-get install android-liblog-dev")
endif()

add_library(AndroidLog::log SHARED IMPORTED)
set_target_properties(AndroidLog::log PROPERTIES
  IMPORTED_LOCATION "${ANDROID_LOG_LIBRARY}"
  INTERFACE_INCLUDE_DIRECTORIES "${ANDROID_LOG_INCLUDE_DIR}"
  INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${ANDROID_LOG_INCLUDE_DIR}")
get_filename_component(ANDROID_LOG_LIBRARY_DIR "${ANDROID_LOG_LIBRARY}" DIRECTORY)
