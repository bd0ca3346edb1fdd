# Installs the build tree into a scratch prefix, then builds and runs a small consumer against
# it twice: through find_package(paskosda) and through pkg-config.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}" --config "${CONFIG}")

run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build"
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")

find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  message(STATUS "pkg-config not found: the pkg-config consumer is not checked")
  return()
endif()
file(GLOB_RECURSE pc_file "${prefix}/*/paskosda.pc")
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs paskosda
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know paskosda")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND ${PKG_CONFIG} --variable=libdir paskosda
  OUTPUT_VARIABLE libdir OUTPUT_STRIP_TRAILING_WHITESPACE)
run(${CXX} -std=c++17 "${CONSUMER_DIR}/main.cpp" ${flags} "-Wl,-rpath,${libdir}"
    -o "${WORK_DIR}/consumer-pc")
run("${WORK_DIR}/consumer-pc")
