# Runs scenario-sim for two seconds into a fresh folder and asks scenario-log
# sql about it: the records table counts what summary counts, the largest
# exposure of 3A's AE decisions is the one in the files' own lines, a DELETE
# is refused with status 2 and changes neither the answers nor the cache, a
# second query reuses the cache, and the cache is smaller than the logs.
#
# cmake -DSIM=... -DREADER=... -DWORK_DIR=... [-DEMULATOR=...] -P CheckSqlWithReader.cmake
include(${CMAKE_CURRENT_LIST_DIR}/ReaderCheck.cmake)
set(READER ${CMAKE_COMMAND} -E env XDG_CACHE_HOME=${WORK_DIR}/cache ${READER})


# Runs `scenario-log sql --csv QUERY logs`; sets `status` and `value`, the
# first cell of the first row.
function(sql query)
  execute_process(COMMAND ${READER} sql --csv "${query}" logs
    WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  string(REGEX MATCHALL "[^\r\n]+" rows "${out}")
  list(LENGTH rows count)
  set(first "")
  if(count GREATER 1)
    list(GET rows 1 first)
  endif()
  set(status ${code} PARENT_SCOPE)
  set(value "${first}" PARENT_SCOPE)
  set(error "${err}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
execute_process(COMMAND ${SIM} --duration 2 --fps 60 --records 16 --out logs --quiet
  WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE status ERROR_VARIABLE err)
expect("status EQUAL 0" "scenario-sim failed with ${status}: ${err}")

execute_process(COMMAND ${READER} summary --json logs
  WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE status OUTPUT_VARIABLE report)
expect("status EQUAL 0" "scenario-log summary failed with ${status}")
string(REGEX MATCH "\"type\":\"totals\"[^\n]*\"records\":([0-9]+)" totals "${report}")
set(summary_records ${CMAKE_MATCH_1})

sql("SELECT count(*) FROM records")
expect("status EQUAL 0" "sql count failed with ${status}: ${error}")
expect("value EQUAL summary_records" "sql counts ${value} records, summary ${summary_records}")

# The largest exposure in the raw lines of 3A's AE_EXPOSURE_PARAM decisions.
file(GLOB logs ${WORK_DIR}/logs/*_TuningLog_*.txt)
set(raw_max -1)
set(log_bytes 0)
foreach(log IN LISTS logs)
  file(SIZE ${log} size)
  math(EXPR log_bytes "${log_bytes} + ${size}")
  file(STRINGS ${log} lines REGEX "\\[ModuleName: 3A\\]\\[Decision: AE_EXPOSURE_PARAM\\] ")
  foreach(line IN LISTS lines)
    if(line MATCHES "[ ,]exposure ([0-9]+) us")
      if(CMAKE_MATCH_1 GREATER raw_max)
        set(raw_max ${CMAKE_MATCH_1})
      endif()
    endif()
  endforeach()
endforeach()
expect("raw_max GREATER 0" "no exposure in the files")
sql("SELECT max(num(text, 'exposure')) FROM records WHERE module = '3A' AND decision = 'AE_EXPOSURE_PARAM'")
expect("value EQUAL raw_max" "sql's largest exposure is ${value}, the files' ${raw_max}")

file(GLOB caches ${WORK_DIR}/cache/scenario-log/*.sqlite)
list(LENGTH caches cache_count)
expect("cache_count EQUAL 1" "${cache_count} cache files, not 1")
file(SHA256 ${caches} cache_hash)
file(SIZE ${caches} cache_bytes)
expect("cache_bytes LESS log_bytes" "the cache has ${cache_bytes} bytes, the logs ${log_bytes}")

sql("DELETE FROM records WHERE module = '3A'")
expect("status EQUAL 2" "DELETE gave status ${status}, not 2")
sql("SELECT count(*) FROM records")
expect("value EQUAL summary_records" "after the DELETE sql counts ${value} records")
file(SHA256 ${caches} cache_hash_after)
expect("cache_hash_after STREQUAL cache_hash" "the cache changed")
message(STATUS "sql counts ${value} records as summary does; largest exposure ${raw_max} us; "
               "cache ${cache_bytes} bytes for ${log_bytes} bytes of logs")
