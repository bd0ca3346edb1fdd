# Installs the build tree into a scratch prefix and imports the installed module there: the
# module must find the library it was installed with (its RPATH), not the build tree's.
# Arguments: BUILD_DIR, PREFIX, SITE (the module folder below PREFIX), PYTHON.
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${PREFIX}"
  RESULT_VARIABLE failed OUTPUT_QUIET)
if(failed)
  message(FATAL_ERROR "cmake --install into ${PREFIX} failed")
endif()
execute_process(
  COMMAND "${CMAKE_COMMAND}" -E env "PYTHONPATH=${PREFIX}/${SITE}" --unset=LD_LIBRARY_PATH
    "${PYTHON}" -c
    "import paskosda; print(paskosda.__file__); print(paskosda.lu([[2.0, 1.0], [1.0, 3.0]]).solve([3.0, 5.0]))"
  RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(failed OR NOT out MATCHES "^${PREFIX}/")
  message(FATAL_ERROR "import of the installed module failed:\n${out}${err}")
endif()
message(STATUS "${out}")
