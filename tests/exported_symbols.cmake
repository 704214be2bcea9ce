# Checks the shared library's table of exported symbols: it holds the
# exported members of ProtoStub and INTER_ST::ThirdGenerationCommResponse_Data
# (with the record's vtable and typeinfo) and nothing else, so that neither the
# frame layer, the analyzers nor any standard library instance leaks out.
#   ELF:     cmake -DNM=nm -DLIBRARY=libzorvserverprotoanalyze.so -P exported_symbols.cmake
#   Windows: cmake -DOBJDUMP=x86_64-w64-mingw32-objdump -DCXXFILT=c++filt
#                  -DLIBRARY=libzorvserverprotoanalyze.dll -P exported_symbols.cmake
cmake_minimum_required(VERSION 3.25)
if(NOT LIBRARY OR NOT (NM OR (OBJDUMP AND CXXFILT)))
  message(FATAL_ERROR "set LIBRARY and either NM or OBJDUMP and CXXFILT")
endif()

include(${CMAKE_CURRENT_LIST_DIR}/run_checked.cmake)

# Brackets in demangled names ("char [16]") would upset CMake's list splitting.
function(split_lines out text)
  string(REPLACE "[" "<" text "${text}")
  string(REPLACE "]" ">" text "${text}")
  string(REPLACE ";" "\\;" text "${text}")
  string(REPLACE "\n" ";" lines "${text}")
  set(${out} "${lines}" PARENT_SCOPE)
endfunction()

set(names "")
if(NM)
  # "<address> <type letter> <demangled name>"
  zorv_run_checked(listing "nm" ${NM} -DC --defined-only ${LIBRARY})
  split_lines(lines "${listing}")
  foreach(line IN LISTS lines)
    if(line MATCHES "^[0-9a-fA-F]* *[A-Za-z] (.+)$")
      list(APPEND names "${CMAKE_MATCH_1}")
    endif()
  endforeach()
else()
  # The export name table of "objdump -p": "\t<   0> _ZN9ProtoStubC1Ev" once
  # the brackets are replaced; the names are demangled afterwards.
  zorv_run_checked(listing "objdump" ${OBJDUMP} -p ${LIBRARY})
  split_lines(lines "${listing}")
  set(mangled "")
  set(in_table FALSE)
  foreach(line IN LISTS lines)
    if(line MATCHES "<Ordinal/Name Pointer> Table")
      set(in_table TRUE)
    elseif(in_table AND line MATCHES "^[ \t]*<[ 0-9]+> (.+)$")
      string(APPEND mangled "${CMAKE_MATCH_1}\n")
    elseif(in_table)
      break()
    endif()
  endforeach()
  set(file ${CMAKE_CURRENT_BINARY_DIR}/exported_symbols.txt)
  file(WRITE ${file} "${mangled}")
  execute_process(COMMAND ${CXXFILT} INPUT_FILE ${file} OUTPUT_VARIABLE demangled RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${CXXFILT} failed")
  endif()
  split_lines(names "${demangled}")
  list(REMOVE_ITEM names "")
endif()

set(record "INTER_ST::ThirdGenerationCommResponse_Data")
set(allowed "^(ProtoStub::|${record}::|(vtable|typeinfo|typeinfo name) for ${record}$)")
# A few that must be there, so that an over-eager export list fails as well.
set(required
  "ProtoStub::ProtoStub()"
  "ProtoStub::~ProtoStub()"
  "ProtoStub::analyze_ClientData("
  "ProtoStub::analyze_DeviceAutoReportData("
  "ProtoStub::analyze_DeviceData("
  "ProtoStub::clearRecvDeviceData()"
  "ProtoStub::getReplyPackage("
  "ProtoStub::isAutoPushThirdPackage("
  "ProtoStub::isGeneralThirdPackage("
  "ProtoStub::analyze_DeviceReportData("
  "${record}::ThirdGenerationCommResponse_Data()"
  "${record}::ThirdGenerationCommResponse_Data(${record} const&)"
  "${record}::~ThirdGenerationCommResponse_Data()"
  "${record}::operator=(${record} const&)"
  "vtable for ${record}"
  "typeinfo for ${record}")

set(leaks "")
foreach(name IN LISTS names)
  if(NOT name MATCHES "${allowed}")
    string(APPEND leaks "  ${name}\n")
  endif()
endforeach()

set(missing "")
foreach(want IN LISTS required)
  set(found FALSE)
  foreach(name IN LISTS names)
    string(FIND "${name}" "${want}" at)
    if(at EQUAL 0)
      set(found TRUE)
      break()
    endif()
  endforeach()
  if(NOT found)
    string(APPEND missing "  ${want}\n")
  endif()
endforeach()

list(LENGTH names count)
if(leaks OR missing)
  message(FATAL_ERROR "${LIBRARY} exports ${count} symbols.\n"
    "Exported but not part of the interface:\n${leaks}"
    "Part of the interface but not exported:\n${missing}")
endif()
message(STATUS "${LIBRARY} exports ${count} symbols, all of ProtoStub and ${record}")
