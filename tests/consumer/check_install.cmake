# Installs the build tree into a scratch prefix, then checks what a consumer meets:
#  - through find_package(paskosda), a Release consumer runs, and a Debug consumer links the
#    checked library, so that a caller's error stops it with a precondition message;
#  - through pkg-config, the README's command line gives a program that starts, and
#    paskosda-checked gives the checks;
#  - through add_subdirectory, the parent's build type and library type are left alone.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
set(expected_message "paskosda: precondition failed in multiply: .*a is 2x3, b is 4x2")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}")
  endif()
endfunction()

# Runs the program and fails unless it stops with the precondition message.
function(expect_stopped program)
  execute_process(COMMAND "${program}" RESULT_VARIABLE result ERROR_VARIABLE err
                  OUTPUT_VARIABLE out)
  if(result EQUAL 0 OR NOT err MATCHES "${expected_message}")
    message(FATAL_ERROR "${program} was not stopped by the check (${result}):\n${out}${err}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}" --config "${CONFIG}")

# find_package, in the build's own configuration and in Debug.
run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build"
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/debug"
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/debug")
run("${WORK_DIR}/debug/consumer")
expect_stopped("${WORK_DIR}/debug/bad_product")

# add_subdirectory: configured only, once as the parent leaves it and once with static
# libraries asked for.
run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}/subproject" -B "${WORK_DIR}/subproject"
    -DPASKOSDA_SOURCE_DIR=${SOURCE_DIR} -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}/subproject" -B "${WORK_DIR}/subproject-static"
    -DPASKOSDA_SOURCE_DIR=${SOURCE_DIR} -DPARENT_SHARED=OFF -DCMAKE_CXX_COMPILER=${CXX})

find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  message(STATUS "pkg-config not found: the pkg-config consumers are not checked")
  return()
endif()
file(GLOB_RECURSE pc_file "${prefix}/*/paskosda.pc")
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")

# The README's line: c++ app.cpp $(pkg-config --cflags --libs P) -Wl,-rpath,$(pkg-config
# --variable=libdir P), for P = paskosda and paskosda-checked.
function(pkg_config_build package source output)
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ${package}
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know ${package}")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  execute_process(COMMAND ${PKG_CONFIG} --variable=libdir ${package}
    OUTPUT_VARIABLE libdir OUTPUT_STRIP_TRAILING_WHITESPACE)
  run(${CXX} -std=c++17 "${source}" ${flags} "-Wl,-rpath,${libdir}" -o "${output}")
endfunction()
pkg_config_build(paskosda "${CONSUMER_DIR}/main.cpp" "${WORK_DIR}/consumer-pc")
run("${WORK_DIR}/consumer-pc")
pkg_config_build(paskosda-checked "${CONSUMER_DIR}/bad_product.cpp" "${WORK_DIR}/bad-product-pc")
expect_stopped("${WORK_DIR}/bad-product-pc")
