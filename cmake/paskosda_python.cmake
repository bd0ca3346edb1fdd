# Decides whether the Python binding can be built, and defines PASKOSDA_BUILD_PYTHON.
#
# The binding needs pybind11 (CMake package) and a Python 3 interpreter with its development
# files and NumPy. Several interpreters often sit on one machine (a distribution's, a pyenv or a
# virtual environment): unless Python3_EXECUTABLE is given, the first python3 on the PATH that
# imports NumPy is taken, then the system one. A sanitized build cannot be loaded into an
# unsanitized interpreter, and a static library without position-independent code cannot be
# linked into an extension module: the binding is off by default there.

set(PASKOSDA_PYTHON_DEFAULT OFF)
set(PASKOSDA_PYTHON_REASON "")
if(PASKOSDA_SANITIZE)
  set(PASKOSDA_PYTHON_REASON "a sanitized library cannot be loaded into an unsanitized python")
elseif(PASKOSDA_BUILD_FUZZERS)
  set(PASKOSDA_PYTHON_REASON "the fuzzing build has no binding")
elseif(NOT PASKOSDA_SHARED AND NOT CMAKE_POSITION_INDEPENDENT_CODE)
  set(PASKOSDA_PYTHON_REASON "the static library is not position-independent")
else()
  if(NOT Python3_EXECUTABLE)
    find_program(PASKOSDA_PATH_PYTHON NAMES python3 NO_CACHE)
    foreach(candidate IN ITEMS ${PASKOSDA_PATH_PYTHON} /usr/bin/python3 /usr/local/bin/python3)
      if(EXISTS "${candidate}")
        execute_process(COMMAND "${candidate}" -c "import numpy"
          RESULT_VARIABLE numpy_missing OUTPUT_QUIET ERROR_QUIET)
        if(numpy_missing EQUAL 0)
          set(Python3_EXECUTABLE "${candidate}" CACHE FILEPATH "Python interpreter of the binding")
          break()
        endif()
      endif()
    endforeach()
  endif()
  find_package(Python3 3.8 QUIET COMPONENTS Interpreter Development.Module NumPy)
  if(Python3_FOUND AND Python3_NumPy_FOUND)
    set(PYBIND11_FINDPYTHON ON)
    find_package(pybind11 CONFIG QUIET)
  endif()
  if(NOT (Python3_FOUND AND Python3_NumPy_FOUND))
    set(PASKOSDA_PYTHON_REASON "no Python 3 with development files and NumPy was found")
  elseif(NOT pybind11_FOUND)
    set(PASKOSDA_PYTHON_REASON "pybind11 was not found (Debian: pybind11-dev)")
  else()
    set(PASKOSDA_PYTHON_DEFAULT ON)
  endif()
endif()

option(PASKOSDA_BUILD_PYTHON "Build the Python binding (needs pybind11, Python 3 and NumPy)"
  ${PASKOSDA_PYTHON_DEFAULT})
if(PASKOSDA_BUILD_PYTHON AND NOT PASKOSDA_PYTHON_DEFAULT)
  message(FATAL_ERROR "PASKOSDA_BUILD_PYTHON is ON, but ${PASKOSDA_PYTHON_REASON}.")
elseif(NOT PASKOSDA_BUILD_PYTHON)
  if(PASKOSDA_PYTHON_REASON)
    message(STATUS "paskosda: Python binding not built: ${PASKOSDA_PYTHON_REASON}.")
  else()
    message(STATUS "paskosda: Python binding not built (PASKOSDA_BUILD_PYTHON is OFF).")
  endif()
endif()
