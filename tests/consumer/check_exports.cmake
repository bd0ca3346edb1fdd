# Fails when the shared library LIBRARY exports an internal name: anything of the namespace
# paskosda_detail other than check_failed, which the inline code of the headers calls.
execute_process(COMMAND "${NM}" -DC --defined-only "${LIBRARY}" OUTPUT_VARIABLE symbols
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" symbols "${symbols}")
set(internal "")
foreach(line IN LISTS symbols)
  if(line MATCHES "paskosda_detail::" AND NOT line MATCHES "paskosda_detail::check_failed\\(")
    list(APPEND internal "${line}")
  endif()
endforeach()
if(internal)
  list(JOIN internal "\n" internal)
  message(FATAL_ERROR "internal symbols exported:\n${internal}")
endif()
