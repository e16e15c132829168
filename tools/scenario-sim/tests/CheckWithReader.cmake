# Runs scenario-sim for about a second into a fresh folder, reads the folder
# back with scenario-log, and checks that the reader accounts for every record
# that the simulator submitted: the totals, each capture request's own series,
# and a preview series for every preview request.
#
# cmake -DSIM=... -DREADER=... -DWORK_DIR=... [-DEMULATOR=...] -P CheckWithReader.cmake
#
# EMULATOR: the words that run a cross build's programs here, if any.
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

# Splits JSON lines into a list; semicolons can stand only inside strings,
# where a comma keeps the JSON valid.
function(json_lines text out)
  string(REPLACE ";" "," text "${text}")
  string(REGEX MATCHALL "[^\n]+" lines "${text}")
  set(${out} "${lines}" PARENT_SCOPE)
endfunction()

function(check_bad_option)
  execute_process(COMMAND ${SIM} --fps fast
    RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  string(REGEX MATCHALL "\n" breaks "${err}")
  list(LENGTH breaks breakCount)
  expect("status EQUAL 2" "a bad option gave status ${status}, not 2")
  expect("breakCount EQUAL 1" "a bad option gave ${breakCount} lines on stderr: ${err}")
  expect("out STREQUAL \"\"" "a bad option wrote to stdout: ${out}")
endfunction()

function(run_simulator)
  execute_process(COMMAND ${SIM} --duration 1 --capture-interval 6 --out logs
                          --stats-json stats.json --quiet
    WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE status ERROR_VARIABLE err)
  expect("status EQUAL 0" "scenario-sim failed with ${status}: ${err}")
endfunction()

# Sets expected_<kind>_<requestNum>_{decision,execution}, the request lists
# previews and captures, and the totals, in the caller's scope.
macro(read_stats)
  file(READ ${WORK_DIR}/stats.json stats)
  string(JSON expected_decisions GET "${stats}" records decision)
  string(JSON expected_executions GET "${stats}" records execution)
  string(JSON request_count LENGTH "${stats}" perRequest)
  math(EXPR last "${request_count} - 1")
  set(previews "")
  set(captures "")
  foreach(i RANGE ${last})
    string(JSON request GET "${stats}" perRequest ${i})
    string(JSON number GET "${request}" requestNum)
    string(JSON kind GET "${request}" kind)
    string(JSON handed_off GET "${request}" handedOff)
    expect("handed_off" "request ${number} was never handed off")
    string(JSON expected_${number}_decision GET "${request}" decision)
    string(JSON expected_${number}_execution GET "${request}" execution)
    list(APPEND ${kind}s ${number})
  endforeach()
endmacro()

# Adds every request number of the series' [first,last] runs to the list `out`.
function(collect_requests series out)
  set(numbers ${${out}})
  string(JSON run_count LENGTH "${series}" requests)
  if(run_count GREATER 0)
    math(EXPR last_run "${run_count} - 1")
    foreach(r RANGE ${last_run})
      string(JSON first GET "${series}" requests ${r} 0)
      string(JSON final GET "${series}" requests ${r} 1)
      foreach(n RANGE ${first} ${final})
        list(APPEND numbers ${n})
      endforeach()
    endforeach()
  endif()
  set(${out} ${numbers} PARENT_SCOPE)
endfunction()

function(check_capture_series series)
  string(JSON number GET "${series}" requestNum)
  string(JSON decisions GET "${series}" decisionRecords)
  string(JSON executions GET "${series}" executionRecords)
  list(FIND captures ${number} found)
  expect("found GREATER -1" "capture series for request ${number}, which was no capture")
  expect("decisions EQUAL expected_${number}_decision"
    "capture ${number}: reader ${decisions} decision records, simulator ${expected_${number}_decision}")
  expect("executions EQUAL expected_${number}_execution"
    "capture ${number}: reader ${executions} execution records, simulator ${expected_${number}_execution}")
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
check_bad_option()
run_simulator()
read_stats()
list(LENGTH captures capture_count)
expect("capture_count GREATER 0" "the session had no capture request")

execute_process(COMMAND ${READER} summary --json logs
  WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE status OUTPUT_VARIABLE report ERROR_VARIABLE err)
expect("status EQUAL 0" "scenario-log summary failed with ${status}: ${err}")
json_lines("${report}" lines)

set(decisions 0)
set(executions 0)
set(capture_series "")
set(covered "")
set(totals_seen FALSE)
foreach(line IN LISTS lines)
  string(JSON type GET "${line}" type)
  if(type STREQUAL "totals")
    string(JSON problems GET "${line}" problems)
    string(JSON unknown GET "${line}" unknownRequestRecords)
    expect("problems EQUAL 0" "the reader found ${problems} problems")
    expect("unknown EQUAL 0" "${unknown} records of unknown request")
    set(totals_seen TRUE)
  elseif(type STREQUAL "series")
    string(JSON d GET "${line}" decisionRecords)
    string(JSON e GET "${line}" executionRecords)
    math(EXPR decisions "${decisions} + ${d}")
    math(EXPR executions "${executions} + ${e}")
    string(JSON kind GET "${line}" kind)
    if(kind STREQUAL "capture")
      check_capture_series("${line}")
      string(JSON number GET "${line}" requestNum)
      list(APPEND capture_series ${number})
    else()
      collect_requests("${line}" covered)
    endif()
  endif()
endforeach()

expect("totals_seen" "the reader printed no totals")
expect("decisions EQUAL expected_decisions"
  "reader ${decisions} decision records, simulator ${expected_decisions}")
expect("executions EQUAL expected_executions"
  "reader ${executions} execution records, simulator ${expected_executions}")
list(SORT capture_series COMPARE NATURAL)
list(SORT captures COMPARE NATURAL)
expect("capture_series STREQUAL captures"
  "capture series for requests [${capture_series}], captures [${captures}]")
foreach(number IN LISTS previews)
  list(FIND covered ${number} found)
  expect("found GREATER -1" "preview request ${number} is in no preview series")
endforeach()
list(LENGTH captures capture_count)
list(LENGTH previews preview_count)
message(STATUS "reader accounts for ${decisions} decision and ${executions} execution records, "
               "${capture_count} capture and ${preview_count} preview requests")
