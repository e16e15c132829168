# Runs scenario-sim three times on the street scene from request 45, 60
# frames each (--frames: the same requests however late the frames come),
# across the moment a face comes into view (and AE converges to the new
# light) and the moment the light falls: seed 1 twice, and seed 2, which
# moves each change by a few frames. Holds scenario-log compare to what the
# simulator says the camera saw (--stats-json), never to a recorded output:
#  - a run compared with itself agrees (status 0);
#  - for seed 1 against seed 1 and against seed 2, with --ignore-numbers, it
#    differs exactly when the scenes predict a difference (never for one
#    seed), and then: FaceDetection's decision and 3A's exposure decision
#    (face AE on or off) differ in the requests where one run saw a face and
#    the other not, as one event; 3A's AE result (converging or stable)
#    where AE converged in one run only; each key's first difference falls on
#    a request whose scene differs; every request is in both runs.
#
# cmake -DSIM=... -DREADER=... -DWORK_DIR=... [-DEMULATOR=...] -P CheckCompareWithReader.cmake
include(${CMAKE_CURRENT_LIST_DIR}/ReaderCheck.cmake)
set(READER ${CMAKE_COMMAND} -E env XDG_CACHE_HOME=${WORK_DIR}/cache ${READER})
set(face_key "FaceDetection Decision: TRIGGER_FEATURE")
set(exposure_key "3A Decision: AE_EXPOSURE_PARAM")
set(ae_key "3A Stage_Feature_Trigger Result: AE_EXPOSURE_PARAM")


# Per request N of `run`: kind, face (a face in view), conv (AE converging)
# and light; the list <run>_requests in number order and <run>_last.
macro(read_stats run)
  file(READ ${WORK_DIR}/${run}.json stats)
  string(JSON count LENGTH "${stats}" perRequest)
  math(EXPR last_index "${count} - 1")
  set(${run}_requests "")
  foreach(i RANGE ${last_index})
    string(JSON request GET "${stats}" perRequest ${i})
    string(JSON n GET "${request}" requestNum)
    string(JSON ${run}_kind_${n} GET "${request}" kind)
    string(JSON faces GET "${request}" scene faces)
    string(JSON ${run}_conv_${n} GET "${request}" scene converging)
    string(JSON ${run}_light_${n} GET "${request}" scene lightTenths)
    set(${run}_face_${n} OFF)
    if(faces GREATER 0)
      set(${run}_face_${n} ON)
    endif()
    list(APPEND ${run}_requests ${n})
  endforeach()
  set(${run}_last ${n})
endmacro()

# Adds request `n` of `kind` to the expected differences of `key`:
# "<count> <first> <last>" in expected_<key>_<kind>.
macro(expect_difference key kind n)
  if(DEFINED count_${key}_${kind})
    math(EXPR count_${key}_${kind} "${count_${key}_${kind}} + 1")
  else()
    set(count_${key}_${kind} 1)
    set(first_${key}_${kind} ${n})
  endif()
  set(expected_${key}_${kind} "${count_${key}_${kind}} ${first_${key}_${kind}} ${n}")
endmacro()

# What the scenes of runs `a` and `b` predict: per key and kind the expected
# differences; scene_differs_<kind>, the requests where the scenes differ;
# `differ`, whether anything differs.
macro(predict a b)
  expect("\"${${a}_requests}\" STREQUAL \"${${b}_requests}\""
    "${a} and ${b} of the same number of frames hold other requests")
  set(differ OFF)
  foreach(n IN LISTS ${a}_requests)
    # The session's end holds the middleware's records of the end alone.
    if(n EQUAL ${a}_last)
      break()
    endif()
    set(kind ${${a}_kind_${n}})
    if(NOT ${a}_face_${n} STREQUAL ${b}_face_${n})
      expect_difference(face ${kind} ${n})
    endif()
    if(NOT ${a}_conv_${n} STREQUAL ${b}_conv_${n})
      expect_difference(ae ${kind} ${n})
    endif()
    if(NOT "${${a}_face_${n}} ${${a}_conv_${n}} ${${a}_light_${n}}" STREQUAL
       "${${b}_face_${n}} ${${b}_conv_${n}} ${${b}_light_${n}}")
      list(APPEND scene_differs_${kind} ${n})
      set(differ ON)
    endif()
  endforeach()
endmacro()

# `scenario-log compare ARGS`, expected to end with `status`; sets `lines`.
function(compare status)
  execute_process(COMMAND ${READER} compare ${ARGN}
    WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  expect("code EQUAL status" "compare ${ARGN}: status ${code}, expected ${status}: ${out}${err}")
  string(REPLACE ";" "," out "${out}")
  string(REGEX MATCHALL "[^\n]+" found "${out}")
  set(lines "${found}" PARENT_SCOPE)
endfunction()

# compare --ignore-numbers --json of runs `a` and `b` against predict().
function(check_pair a b)
  predict(${a} ${b})
  set(status 0)
  if(differ)
    set(status 1)
  endif()
  compare(${status} --ignore-numbers --json ${a} ${b})
  foreach(line IN LISTS lines)
    string(JSON type GET "${line}" type)
    expect("type STREQUAL key-differs" "${a} against ${b}: ${line}")
    string(JSON module GET "${line}" module)
    string(JSON label GET "${line}" key)
    string(JSON kind GET "${line}" timeline)
    string(JSON first GET "${line}" first)
    string(JSON final GET "${line}" last)
    string(JSON count GET "${line}" requests)
    string(JSON event GET "${line}" event)
    list(FIND scene_differs_${kind} ${first} found)
    expect("NOT found EQUAL -1"
      "${a} against ${b}: ${module} ${label} first differs at ${kind} request ${first}, where "
      "the scenes agree (they differ at ${scene_differs_${kind}})")
    foreach(key face exposure ae)
      if("${module} ${label}" STREQUAL "${${key}_key}")
        set(got_${key}_${kind} "${count} ${first} ${final}")
        set(event_${key}_${kind} ${event})
      endif()
    endforeach()
  endforeach()
  foreach(kind preview capture)
    set(expected_exposure_${kind} "${expected_face_${kind}}")
    foreach(key face exposure ae)
      expect("\"${got_${key}_${kind}}\" STREQUAL \"${expected_${key}_${kind}}\""
        "${a} against ${b}: ${${key}_key} in ${kind} requests: compare says "
        "[${got_${key}_${kind}}], the scenes [${expected_${key}_${kind}}] (count first last)")
    endforeach()
    expect("\"${event_face_${kind}}\" STREQUAL \"${event_exposure_${kind}}\""
      "${a} against ${b}: faces and face AE are not one event in ${kind} requests")
  endforeach()
  message(STATUS "${a} against ${b}: status ${status}; ${face_key} [${expected_face_preview}] "
                 "[${expected_face_capture}], ${ae_key} [${expected_ae_preview}] "
                 "[${expected_ae_capture}]")
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(options --scene street --first-request 45 --frames 60 --quiet)
execute_process(
  COMMAND ${SIM} ${options} --seed 1 --out seed1 --stats-json seed1.json
  COMMAND ${SIM} ${options} --seed 1 --out again1 --stats-json again1.json
  COMMAND ${SIM} ${options} --seed 2 --out seed2 --stats-json seed2.json
  WORKING_DIRECTORY ${WORK_DIR} RESULTS_VARIABLE statuses ERROR_VARIABLE err)
expect("statuses STREQUAL \"0;0;0\"" "scenario-sim failed with ${statuses}: ${err}")
foreach(run seed1 again1 seed2)
  read_stats(${run})
endforeach()
compare(0 seed1 seed1)
check_pair(seed1 again1)
check_pair(seed1 seed2)
