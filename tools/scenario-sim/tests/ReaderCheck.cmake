# What the Check*WithReader.cmake scripts share: SIM and READER as commands
# run through EMULATOR, the words that run a cross build's programs here (if
# any), and expect().
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
set(SIM ${emulator} ${SIM})
set(READER ${emulator} ${READER})

# Fails the test with `message` unless the if() condition `condition` holds.
function(expect condition message)
  cmake_language(EVAL CODE "if(NOT (${condition}))\n set(failed TRUE)\nendif()")
  if(failed)
    message(FATAL_ERROR "${message}")
  endif()
endfunction()
