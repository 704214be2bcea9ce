# zorv_run_checked(<out> <what> <command...>): runs the command, stops the
# script with its output when it fails, and leaves its standard output in <out>.
function(zorv_run_checked out what)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE text ERROR_VARIABLE errors RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${text}${errors}")
  endif()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()
