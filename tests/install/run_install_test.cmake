# Installs the built library into a fresh prefix, then builds and runs the consumer project
# against it with find_package(zubra CONFIG REQUIRED).
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install "${ZUBRA_BUILD_DIR}" --prefix "${prefix}")
if(NOT BUILD_TYPE)
  set(BUILD_TYPE Release)
endif()
# A sanitized library needs the sanitizer runtime linked into the program first.
set(sanitize_flags "")
if(SANITIZE)
  set(sanitize_flags "-DCMAKE_CXX_FLAGS=-fsanitize=address,undefined"
      "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=address,undefined")
endif()
run(${CMAKE_COMMAND} -S "${CONSUMER_SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    -DCMAKE_BUILD_TYPE=${BUILD_TYPE} "-DCMAKE_PREFIX_PATH=${prefix}" ${sanitize_flags})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
execute_process(COMMAND "${WORK_DIR}/build/consumer" RESULT_VARIABLE rc OUTPUT_VARIABLE out
                ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out MATCHES "zubra consumer ok")
  message(FATAL_ERROR "consumer failed (${rc}):\n${out}\n${err}")
endif()
message(STATUS "${out}")

# The command-line tool is installed with the library and runs from the prefix, finding the
# installed library beside it.
if(TOOL)
  execute_process(COMMAND "${prefix}/bin/zubra" --version RESULT_VARIABLE rc OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR NOT out MATCHES "^zubra [0-9]+\\.[0-9]+\\.[0-9]+")
    message(FATAL_ERROR "installed tool failed (${rc}):\n${out}\n${err}")
  endif()
  message(STATUS "${out}")
endif()


# The Python module is installed under the prefix and imports there, finding the installed
# library through its RPATH.
if(PYTHON)
  if(IS_ABSOLUTE "${PYTHON_DIR}")
    set(module_dir "${PYTHON_DIR}")
  else()
    set(module_dir "${prefix}/${PYTHON_DIR}")
  endif()
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env "PYTHONPATH=${module_dir}" ${PYTHON} -c
      "import zubra, os; i = zubra.Investigation(); i.add_factor('A', 'A', low=0, high=1); \
i.design(seed=1); print('zubra module ok', os.path.dirname(zubra.__file__))"
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR NOT out MATCHES "zubra module ok ${module_dir}")
    message(FATAL_ERROR "installed Python module failed (${rc}):\n${out}\n${err}")
  endif()
  message(STATUS "${out}")
endif()
