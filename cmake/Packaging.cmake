# What is installed, and the two Debian packages made of it: orvix-gsm (component runtime) and orvix-gsm-dev
# (component dev). scripts/package builds them.
set(ORVIX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OrvixGsm)

install(TARGETS gsmmodem DESTINATION ${ORVIX_PLUGIN_DIR} COMPONENT runtime)
install(TARGETS gsm-host gsm-modem-simulator DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(FILES packaging/modem.json DESTINATION share/doc/orvix-gsm/examples COMPONENT runtime)

install(TARGETS orvix_api orvix_document orvix_common xdbg EXPORT OrvixGsm
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev INCLUDES DESTINATION include/orvix)
install(EXPORT OrvixGsm NAMESPACE OrvixGsm:: FILE OrvixGsmTargets.cmake DESTINATION ${ORVIX_CMAKE_DIR} COMPONENT dev)
include(CMakePackageConfigHelpers)
configure_package_config_file(packaging/OrvixGsmConfig.cmake.in ${CMAKE_BINARY_DIR}/packaging/OrvixGsmConfig.cmake
  INSTALL_DESTINATION ${ORVIX_CMAKE_DIR} PATH_VARS ORVIX_PLUGIN_DIR)
install(FILES ${CMAKE_BINARY_DIR}/packaging/OrvixGsmConfig.cmake DESTINATION ${ORVIX_CMAKE_DIR} COMPONENT dev)
foreach(target api document common)
  set_target_properties(orvix_${target} PROPERTIES EXPORT_NAME ${target})
endforeach()
foreach(header plugin/device.h plugin/plugin.h serial/xpl.h app/common/status.h app/common/text.h)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION include/orvix/${folder} COMPONENT dev)
endforeach()
install(DIRECTORY app/common/document DESTINATION include/orvix/app/common COMPONENT dev FILES_MATCHING PATTERN "*.h")

# Compressed without a name or a time, so that the bytes depend on the content alone.
function(orvix_install_compressed file name destination component)
  set(result ${CMAKE_BINARY_DIR}/packaging/${component}/${name}.gz)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packaging/${component})
  execute_process(COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/packaging/${file} OUTPUT_FILE ${result} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${result} DESTINATION ${destination} COMPONENT ${component})
endfunction()
foreach(page gsm-host.1 gsm-modem-simulator.1)
  orvix_install_compressed(${page} ${page} share/man/man1 runtime)
endforeach()
foreach(component runtime dev)
  if(component STREQUAL dev)
    set(package orvix-gsm-dev)
  else()
    set(package orvix-gsm)
  endif()
  orvix_install_compressed(changelog changelog share/doc/${package} ${component})
  install(FILES packaging/copyright DESTINATION share/doc/${package} COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvix-gsm)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Orvix GSM maintainers <maintainers@orvix-gsm.invalid>")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME orvix-gsm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION comm)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "A module that device gateways load to gain the device type GSMModem: signal,
registration and text messages of a GSM modem on a serial line. gsm-host drives
it by hand; gsm-modem-simulator stands in for a modem.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME orvix-gsm-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libbson-dev (>= 1.23)")
set(CPACK_DEBIAN_DEV_PACKAGE_RECOMMENDS "orvix-gsm")
set(CPACK_COMPONENT_DEV_DESCRIPTION "Headers, static libraries and a CMake package for programs that load the
GSMModem device plug-in: status, documents and the device interface.")
include(CPack)
