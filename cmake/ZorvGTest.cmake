# GoogleTest for the test program: the installed package when one fits the
# target platform, else built here from sources (Debian's libgtest-dev ships
# them in /usr/src/googletest). The mingw-w64 cross build takes the second way.
# Included by every directory with tests: GoogleTest built here once serves
# them all.
if(TARGET GTest::gtest_main)
  return()
endif()
find_package(GTest QUIET)
if(GTest_FOUND)
  return()
endif()

set(ZORV_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources, built when no installed GoogleTest fits the target")
if(NOT EXISTS ${ZORV_GTEST_SOURCE_DIR}/CMakeLists.txt)
  message(FATAL_ERROR "GoogleTest was found neither installed for this target nor as sources in "
    "ZORV_GTEST_SOURCE_DIR (${ZORV_GTEST_SOURCE_DIR}); install libgtest-dev or turn ZORV_BUILD_TESTS off")
endif()
message(STATUS "Building GoogleTest from ${ZORV_GTEST_SOURCE_DIR}")

# A function keeps these settings out of the project's own scope: GoogleTest
# is built as static libraries (nothing to copy beside the tests), is not
# installed, and its targets are built only when the tests need them.
function(zorv_add_gtest_sources)
  set(BUILD_SHARED_LIBS OFF)
  set(INSTALL_GTEST OFF)
  set(BUILD_GMOCK ON)
  set(gtest_force_shared_crt ON)
  set(CMAKE_CXX_VISIBILITY_PRESET default)
  add_subdirectory(${ZORV_GTEST_SOURCE_DIR} ${PROJECT_BINARY_DIR}/_deps/googletest EXCLUDE_FROM_ALL SYSTEM)
endfunction()
zorv_add_gtest_sources()
