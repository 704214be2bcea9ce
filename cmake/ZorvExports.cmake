# What the project's shared libraries show to the outside, and where their
# installed copies look for the libraries they need.
include(CheckLinkerFlag)

set(ZORV_EXPORT_MAP ${CMAKE_CURRENT_LIST_DIR}/zorvserverprotoanalyze.map)

# mingw-w64 links the C++ runtime statically (see the toolchain file); without
# this a DLL that exports all its symbols would export the runtime's as well.
function(zorv_keep_runtime_private target)
  if(MINGW AND BUILD_SHARED_LIBS)
    target_link_options(${target} PRIVATE "LINKER:--exclude-libs,ALL")
  endif()
endfunction()

# The protocol library exports only what ZORV_PROTO_API marks: on ELF a
# version script also hides the standard library's template instances
# (Windows DLLs export only the dllexport-marked members anyway). The
# installed library finds the logger library installed beside it.
function(zorv_limit_exports target)
  zorv_keep_runtime_private(${target})
  if(NOT BUILD_SHARED_LIBS OR WIN32)
    return()
  endif()
  if(APPLE)
    set_target_properties(${target} PROPERTIES INSTALL_RPATH @loader_path)
    return()
  endif()
  set_target_properties(${target} PROPERTIES INSTALL_RPATH $ORIGIN)
  check_linker_flag(CXX "LINKER:--version-script=${ZORV_EXPORT_MAP}" ZORV_LINKER_HAS_VERSION_SCRIPT)
  if(ZORV_LINKER_HAS_VERSION_SCRIPT)
    target_link_options(${target} PRIVATE "LINKER:--version-script=${ZORV_EXPORT_MAP}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${ZORV_EXPORT_MAP})
  endif()
endfunction()
