# Installs the library, its public headers and a CMake package, so that
# find_package(zorvserverprotoanalyze CONFIG) gives zorv::protoanalyze.
include(CMakePackageConfigHelpers)

set(ZORV_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zorvserverprotoanalyze)
set(ZORV_INSTALL_TARGETS zorvserverprotoanalyze)
if(TARGET zorvlogger)
  list(APPEND ZORV_INSTALL_TARGETS zorvlogger)
  set_target_properties(zorvlogger PROPERTIES EXPORT_NAME logger)
elseif(NOT BUILD_SHARED_LIBS)
  # Users of the static library link the host's logger (ZORV_HOST_LOGGER)
  # themselves; a file path goes into the package as it is, a target must be
  # exported by the host's own package.
  list(APPEND ZORV_INSTALL_TARGETS zorv_host_logger)
  set_target_properties(zorv_host_logger PROPERTIES EXPORT_NAME host_logger)
endif()
set_target_properties(zorvserverprotoanalyze PROPERTIES EXPORT_NAME protoanalyze)

install(TARGETS ${ZORV_INSTALL_TARGETS}
  EXPORT zorvserverprotoanalyzeTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES
  protostub/ProtoStub.h
  protostub/ProtoExport.h
  protostub/ProtoRecords.h
  protostub/ThirdGenerationCommRequest_Data.h
  protostub/ThirdGenerationCommResponse_Data.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/protostub)
install(FILES log/ZorvSpdLog.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/log)
if(TARGET zorvlogger)
  install(FILES log/ZorvLogControl.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/log)
endif()
install(EXPORT zorvserverprotoanalyzeTargets NAMESPACE zorv:: DESTINATION ${ZORV_CONFIG_DIR})

configure_package_config_file(cmake/zorvserverprotoanalyzeConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zorvserverprotoanalyzeConfig.cmake
  INSTALL_DESTINATION ${ZORV_CONFIG_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zorvserverprotoanalyzeConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/zorvserverprotoanalyzeConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zorvserverprotoanalyzeConfigVersion.cmake
  DESTINATION ${ZORV_CONFIG_DIR})
