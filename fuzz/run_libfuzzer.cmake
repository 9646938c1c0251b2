# Runs one libFuzzer target for a few seconds on a scratch copy of its seeds, so that the
# inputs it adds to its corpus never land in the source tree.
#   FUZZER          the fuzz target program
#   SEEDS           seed folders or files, separated by '|'; missing ones are reported and left out
#   WORK_DIR        scratch folder (emptied first); a crashing input is kept there as crash-*
#   SECONDS         how long to fuzz
file(REMOVE_RECURSE "${WORK_DIR}")
set(corpus "${WORK_DIR}/corpus")
file(MAKE_DIRECTORY "${corpus}")

string(REPLACE "|" ";" seeds "${SEEDS}")
foreach(seed IN LISTS seeds)
  if(IS_DIRECTORY "${seed}")
    file(COPY "${seed}/" DESTINATION "${corpus}")
  elseif(EXISTS "${seed}")
    file(COPY "${seed}" DESTINATION "${corpus}")
  else()
    message(STATUS "libfuzzer: the seed folder ${seed} is missing; fuzzing without it")
  endif()
endforeach()

execute_process(
  COMMAND "${FUZZER}" -max_total_time=${SECONDS} -timeout=10 -print_final_stats=1
          "-artifact_prefix=${WORK_DIR}/" "${corpus}"
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "libfuzzer: ${FUZZER} failed (${rc}); the input is in ${WORK_DIR}")
endif()
message(STATUS "libfuzzer: ${FUZZER} ran ${SECONDS} s without a finding")
