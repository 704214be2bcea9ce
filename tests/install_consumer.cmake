# Installs the build tree into a fresh prefix, then configures, builds and runs
# the consumer in tests/consumer against that prefix with find_package.
#   cmake -DBUILD_DIR=... -DCONFIG=... -DWORK_DIR=... -DCONSUMER_DIR=... -DGENERATOR=...
#         -DCXX_COMPILER=... [-DCXX_FLAGS=...] [-DLINKER_FLAGS=...] -P install_consumer.cmake
cmake_minimum_required(VERSION 3.25)
foreach(var BUILD_DIR WORK_DIR CONSUMER_DIR GENERATOR CXX_COMPILER)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()

include(${CMAKE_CURRENT_LIST_DIR}/run_checked.cmake)
function(run what)
  zorv_run_checked(text "${what}" ${ARGN})
  message(STATUS "${what}: ok")
  set(output "${text}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
set(build ${WORK_DIR}/build)
file(REMOVE_RECURSE ${WORK_DIR})

set(config_args "")
if(CONFIG)
  set(config_args --config ${CONFIG})
endif()
run("install into ${prefix}" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} ${config_args})
run("configure the consumer" ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${build} -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
  -DZORV_EXPECTED_PACKAGE_DIR=${prefix}
  -DCMAKE_BUILD_TYPE=${CONFIG}
  -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}")
run("build the consumer" ${CMAKE_COMMAND} --build ${build} ${config_args})

# Single-config generators put the program in the build directory, others in
# a directory per configuration.
set(program "")
foreach(candidate ${build}/zorv_consumer ${build}/zorv_consumer.exe ${build}/${CONFIG}/zorv_consumer.exe)
  if(EXISTS ${candidate})
    set(program ${candidate})
    break()
  endif()
endforeach()
if(NOT program)
  message(FATAL_ERROR "the consumer program was not built in ${build}")
endif()
# On Windows the installed DLLs are found through PATH; elsewhere through the
# run path that CMake gives the consumer and the library's $ORIGIN.
if(CMAKE_HOST_WIN32)
  set(ENV{PATH} "${prefix}/bin;$ENV{PATH}")
endif()
run("run the consumer" ${program})
message(STATUS "${output}")
if(NOT output MATCHES "consumer: ok")
  message(FATAL_ERROR "the consumer did not report success")
endif()
