# Tests of the cross build under wine (see zorv-wine.sh for the why).
#
# The build sets the wine prefix up (target zorv_wineprefix), so that no test
# pays for the prefix's first start. A test run keeps one persistent wine
# server up from its first wine test to its last: the ctest fixture zorv_wine,
# whose setup test (zorv_wine_start) starts the server and the services and
# whose cleanup test (zorv_wine_stop) stops them. Every test that runs under
# wine requires the fixture:
#
#   zorv_wine_tests(TARGETS <target>...)
#       for a test program whose tests gtest_discover_tests lists: builds it
#       after the prefix, since its tests are listed under wine at build time.
#       Pass ${ZORV_WINE_TEST_PROPERTIES} among the PROPERTIES of its
#       gtest_discover_tests call(s).
#   zorv_wine_tests(TESTS <test>...)
#       for tests registered with add_test (call it in the same directory).
#
# Outside a cross build under wine both do nothing and the variable is empty.
#
# A test run that is interrupted leaves its server up; the next run's setup
# stops it first, or `sh cmake/zorv-wine.sh stop` does, with WINEPREFIX and
# WINESERVER set as in CMAKE_CROSSCOMPILING_EMULATOR.
include_guard(GLOBAL)

set(ZORV_WINE_TEST_PROPERTIES "")

function(zorv_wine_tests)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "TARGETS;TESTS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zorv_wine_tests: unexpected arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT TARGET zorv_wineprefix)
    return()
  endif()
  foreach(target IN LISTS arg_TARGETS)
    add_dependencies(${target} zorv_wineprefix)
  endforeach()
  if(arg_TESTS)
    set_tests_properties(${arg_TESTS} PROPERTIES ${ZORV_WINE_TEST_PROPERTIES})
  endif()
endfunction()

if(NOT CMAKE_CROSSCOMPILING OR NOT ZORV_WINE_SCRIPT)
  return()
endif()

set(ZORV_WINE_TEST_PROPERTIES FIXTURES_REQUIRED zorv_wine)

set(ZORV_WINEPREFIX_STAMP ${ZORV_WINEPREFIX}/.zorv-ready)
add_custom_command(OUTPUT ${ZORV_WINEPREFIX_STAMP}
  COMMAND ${ZORV_WINE_ENV} sh ${ZORV_WINE_SCRIPT} init ${ZORV_WINE}
  COMMAND ${CMAKE_COMMAND} -E touch ${ZORV_WINEPREFIX_STAMP}
  COMMENT "Setting up the wine prefix ${ZORV_WINEPREFIX}"
  VERBATIM)
add_custom_target(zorv_wineprefix ALL DEPENDS ${ZORV_WINEPREFIX_STAMP})

add_test(NAME zorv_wine_start COMMAND ${ZORV_WINE_ENV} sh ${ZORV_WINE_SCRIPT} start ${ZORV_WINE})
add_test(NAME zorv_wine_stop COMMAND ${ZORV_WINE_ENV} sh ${ZORV_WINE_SCRIPT} stop)
set_tests_properties(zorv_wine_start PROPERTIES FIXTURES_SETUP zorv_wine TIMEOUT 300)
set_tests_properties(zorv_wine_stop PROPERTIES FIXTURES_CLEANUP zorv_wine TIMEOUT 120)
