# Runs scenario-sim from request 9990 for 2.5 seconds into a fresh folder and
# checks every command of scenario-log against what the simulator says it did
# (--stats-json): the request numbers cross 9,999 to 10,000 with captures on
# both sides within one time-stamp second, where the names of five-digit
# requests sort before those of four as text, and a second preview session
# starts at a five-digit request.
#  - summary --json: the series in number order, every record counted, each
#    capture request in a series of its own with its counts;
#  - grep --json: each request's records by kind, in a series of its kind;
#  - changes --json: one timeline per kind holding the kind's requests; the
#    runs of a key that follows the scene (AE converging or stable) and of
#    one that follows the kind alone are the true ones;
#  - show --req: the last request before 10,000 and the first from it.
#
# cmake -DSIM=... -DREADER=... -DWORK_DIR=... [-DEMULATOR=...] -P CheckWithReader.cmake
include(${CMAKE_CURRENT_LIST_DIR}/ReaderCheck.cmake)
set(first_request 9990)
set(crossing 10000)
# Runs that missed captures on both sides of the crossing in one second (a
# second may begin between them) are run again, at most this often.
set(max_runs 5)


# Splits JSON lines into a list; semicolons can stand only inside strings,
# where a comma keeps the JSON valid.
function(json_lines text out)
  string(REPLACE ";" "," text "${text}")
  string(REGEX MATCHALL "[^\n]+" lines "${text}")
  set(${out} "${lines}" PARENT_SCOPE)
endfunction()

# Sets `out` to the JSON lines that the reader prints for `words`.
function(read_json out)
  execute_process(COMMAND ${READER} ${ARGN}
    WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE status OUTPUT_VARIABLE report ERROR_VARIABLE err)
  expect("status EQUAL 0" "scenario-log ${ARGN} failed with ${status}: ${err}")
  json_lines("${report}" lines)
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

# Sets `out` TRUE when one time-stamp second holds capture series from both
# sides of the crossing.
function(captures_straddle out)
  file(GLOB names RELATIVE ${WORK_DIR}/logs ${WORK_DIR}/logs/*_capture__*_TuningLog_01.txt)
  set(${out} FALSE PARENT_SCOPE)
  foreach(name IN LISTS names)
    string(REGEX MATCH "^[0-9]+_([0-9]+)_[0-9]+_capture__([0-9_]+)_TuningLog" _ "${name}")
    set(side high)
    if(CMAKE_MATCH_1 LESS crossing)
      set(side low)
    endif()
    set(${side}_${CMAKE_MATCH_2} TRUE)
    if(low_${CMAKE_MATCH_2} AND high_${CMAKE_MATCH_2})
      set(${out} TRUE PARENT_SCOPE)
    endif()
  endforeach()
endfunction()

function(run_simulator)
  foreach(attempt RANGE 1 ${max_runs})
    file(REMOVE_RECURSE ${WORK_DIR}/logs)
    execute_process(COMMAND ${SIM} --first-request ${first_request} --duration 2.5
                            --capture-interval 2 --out logs --stats-json stats.json --quiet
      WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE status ERROR_VARIABLE err)
    expect("status EQUAL 0" "scenario-sim failed with ${status}: ${err}")
    captures_straddle(straddle)
    if(straddle)
      message(STATUS "run ${attempt}: captures on both sides of ${crossing} in one second")
      return()
    endif()
  endforeach()
  message(FATAL_ERROR "no second held captures on both sides of ${crossing} in ${max_runs} runs")
endfunction()

# Sets, in the caller's scope, per request N: kind_N, decision_N and
# execution_N; the lists requests_<kind> in number order; the expected runs
# of the two keys per kind (runs_ae_<kind>, runs_p1_<kind>, "first-last
# requests text" each); and the totals.
macro(read_stats)
  file(READ ${WORK_DIR}/stats.json stats)
  string(JSON expected_decisions GET "${stats}" records decision)
  string(JSON expected_executions GET "${stats}" records execution)
  string(JSON request_count LENGTH "${stats}" perRequest)
  math(EXPR last "${request_count} - 1")
  foreach(i RANGE ${last})
    string(JSON request GET "${stats}" perRequest ${i})
    string(JSON n GET "${request}" requestNum)
    string(JSON kind GET "${request}" kind)
    string(JSON handed_off GET "${request}" handedOff)
    expect("handed_off" "request ${n} was never handed off")
    string(JSON decision_${n} GET "${request}" decision)
    string(JSON execution_${n} GET "${request}" execution)
    set(kind_${n} ${kind})
    list(APPEND requests_${kind} ${n})
    # The last request ends the session with the middleware's records only.
    if(i LESS last)
      string(JSON converging GET "${request}" scene converging)
      set(ae "AE stable")
      if(converging)
        set(ae "AE converging")
      endif()
      add_to_runs(ae_${kind} ${n} "${ae}")
      add_to_runs(p1_${kind} ${n} "${kind}")
    endif()
  endforeach()
  foreach(kind preview capture)
    foreach(key ae p1)
      end_runs(${key}_${kind})
    endforeach()
  endforeach()
endmacro()

# Runs of equal texts over requests taken in number order: run_<name> is the
# open run, runs_<name> the ended ones.
macro(add_to_runs name n text)
  if(DEFINED run_${name} AND run_text_${name} STREQUAL "${text}")
    set(run_last_${name} ${n})
    math(EXPR run_count_${name} "${run_count_${name}} + 1")
  else()
    end_runs(${name})
    set(run_${name} ${n})
    set(run_last_${name} ${n})
    set(run_count_${name} 1)
    set(run_text_${name} "${text}")
  endif()
endmacro()

macro(end_runs name)
  if(DEFINED run_${name})
    list(APPEND runs_${name} "${run_${name}}-${run_last_${name}} ${run_count_${name}} ${run_text_${name}}")
    unset(run_${name})
  endif()
endmacro()

# Zero-padded numbers after the time stamp, so that keys compare as text in
# number order (the simulator writes no negative number).
function(order_key series out)
  string(JSON key GET "${series}" timeStamp)
  foreach(field uniqueKey requestNum tagNumber)
    string(JSON number GET "${series}" ${field})
    string(LENGTH "${number}" digits)
    math(EXPR pad "12 - ${digits}")
    string(REPEAT 0 ${pad} zeros)
    string(APPEND key "_${zeros}${number}")
  endforeach()
  set(${out} ${key} PARENT_SCOPE)
endfunction()

function(check_summary)
  read_json(lines summary --json logs)
  set(decisions 0)
  set(executions 0)
  set(capture_series "")
  set(previous "")
  foreach(line IN LISTS lines)
    string(JSON type GET "${line}" type)
    if(type STREQUAL "totals")
      string(JSON problems GET "${line}" problems)
      string(JSON unknown GET "${line}" unknownRequestRecords)
      expect("problems EQUAL 0" "the reader found ${problems} problems")
      expect("unknown EQUAL 0" "${unknown} records of unknown request")
      continue()
    endif()
    order_key("${line}" key)
    expect("previous STRLESS key" "series ${key} follows ${previous}: not in number order")
    set(previous ${key})
    string(JSON d GET "${line}" decisionRecords)
    string(JSON e GET "${line}" executionRecords)
    math(EXPR decisions "${decisions} + ${d}")
    math(EXPR executions "${executions} + ${e}")
    string(JSON kind GET "${line}" kind)
    if(kind STREQUAL "capture")
      string(JSON n GET "${line}" requestNum)
      expect("kind_${n} STREQUAL kind" "capture series for request ${n}, a ${kind_${n}} request")
      expect("d EQUAL decision_${n} AND e EQUAL execution_${n}"
        "capture ${n}: reader ${d} + ${e} records, simulator ${decision_${n}} + ${execution_${n}}")
      list(APPEND capture_series ${n})
    endif()
  endforeach()
  expect("previous" "the reader printed no series")
  expect("decisions EQUAL expected_decisions AND executions EQUAL expected_executions"
    "reader ${decisions} + ${executions} records, simulator ${expected_decisions} + ${expected_executions}")
  expect("capture_series STREQUAL requests_capture"
    "capture series for requests [${capture_series}], captures [${requests_capture}]")
endfunction()

# Each request's records by kind, and the kind of the series holding them.
function(check_grep)
  read_json(lines grep --json logs)
  foreach(n IN LISTS requests_preview requests_capture)
    set(got_decision_${n} 0)
    set(got_execution_${n} 0)
  endforeach()
  foreach(line IN LISTS lines)
    string(JSON n GET "${line}" request)
    string(JSON kind GET "${line}" kind)
    string(JSON series_kind GET "${line}" seriesKind)
    expect("kind_${n} STREQUAL series_kind" "request ${n} in a ${series_kind} series")
    math(EXPR got_${kind}_${n} "${got_${kind}_${n}} + 1")
  endforeach()
  foreach(n IN LISTS requests_preview requests_capture)
    expect("got_decision_${n} EQUAL decision_${n} AND got_execution_${n} EQUAL execution_${n}"
      "request ${n}: reader ${got_decision_${n}} + ${got_execution_${n}} records, simulator ${decision_${n}} + ${execution_${n}}")
  endforeach()
endfunction()

function(check_changes)
  read_json(lines changes --json logs)
  set(timelines "")
  foreach(line IN LISTS lines)
    string(JSON type GET "${line}" type)
    if(type STREQUAL "timeline")
      string(JSON kind GET "${line}" kind)
      string(JSON first GET "${line}" first)
      string(JSON final GET "${line}" last)
      string(JSON count GET "${line}" requests)
      list(GET requests_${kind} 0 want_first)
      list(GET requests_${kind} -1 want_last)
      list(LENGTH requests_${kind} want_count)
      expect("first EQUAL want_first AND final EQUAL want_last AND count EQUAL want_count"
        "${kind} timeline ${first}-${final} of ${count} requests, simulator ${want_first}-${want_last} of ${want_count}")
      list(APPEND timelines ${kind})
      continue()
    endif()
    string(JSON module GET "${line}" module)
    string(JSON label GET "${line}" key)
    if("${module} ${label}" STREQUAL "3A Stage_Feature_Trigger Result: AE_EXPOSURE_PARAM")
      set(key ae)
    elseif("${module} ${label}" STREQUAL "P1_NODE Decision: TOP_CONTROL")
      set(key p1)
    else()
      continue()
    endif()
    string(JSON kind GET "${line}" timeline)
    string(JSON run_count LENGTH "${line}" runs)
    expect("run_count GREATER 0" "${module} ${label}: no runs (churning?) in ${line}")
    math(EXPR last_run "${run_count} - 1")
    set(runs "")
    foreach(r RANGE ${last_run})
      string(JSON run GET "${line}" runs ${r})
      string(JSON first GET "${run}" first)
      string(JSON final GET "${run}" last)
      string(JSON count GET "${run}" requests)
      string(JSON text GET "${run}" text)
      if(key STREQUAL "p1")
        string(REGEX REPLACE "^sensor mode [0-9] \\(([a-z]+)\\).*" "\\1" text "${text}")
      endif()
      list(APPEND runs "${first}-${final} ${count} ${text}")
    endforeach()
    expect("runs STREQUAL runs_${key}_${kind}"
      "${kind} ${module} ${label}: reader [${runs}], simulator [${runs_${key}_${kind}}]")
    set(seen_${key}_${kind} TRUE)
  endforeach()
  expect("timelines STREQUAL \"capture;preview\" OR timelines STREQUAL \"preview;capture\""
    "timelines [${timelines}], not one per kind")
  expect("seen_ae_preview AND seen_ae_capture AND seen_p1_preview AND seen_p1_capture"
    "changes left out a key of a timeline")
endfunction()

# `show` of request `n`: its records, each in a series of its kind.
function(check_show n)
  read_json(lines show --req ${n} --json logs)
  set(got_decision 0)
  set(got_execution 0)
  foreach(line IN LISTS lines)
    string(JSON series_kind GET "${line}" seriesKind)
    string(JSON request GET "${line}" request)
    expect("series_kind STREQUAL kind_${n} AND request EQUAL n" "show --req ${n}: ${line}")
    string(JSON type GET "${line}" type)
    if(type STREQUAL "record")
      string(JSON kind GET "${line}" kind)
      math(EXPR got_${kind} "${got_${kind}} + 1")
    endif()
  endforeach()
  expect("got_decision EQUAL decision_${n} AND got_execution EQUAL execution_${n}"
    "show --req ${n}: ${got_decision} + ${got_execution} records, simulator ${decision_${n}} + ${execution_${n}}")
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
check_bad_option()
run_simulator()
read_stats()
list(LENGTH requests_capture capture_count)
list(LENGTH requests_preview preview_count)
expect("capture_count GREATER 0" "the session had no capture request")
check_summary()
check_grep()
check_changes()
math(EXPR below "${crossing} - 1")
check_show(${below})
check_show(${crossing})
math(EXPR records "${expected_decisions} + ${expected_executions}")
message(STATUS "reader agrees with the simulator on ${records} records of ${capture_count} "
               "capture and ${preview_count} preview requests from ${first_request}, and on "
               "the runs of [${runs_ae_preview}] and [${runs_ae_capture}]")
