# What is installed, and the Debian packages made of it, one a component: orvix-gsm (runtime), orvix-gsm-dev (dev) and
# orvix-gsm-gateway (gateway). scripts/package builds them.
set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
set(ORVIX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/OrvixGsm)
set(ORVIX_PACKAGE_runtime orvix-gsm)
set(ORVIX_PACKAGE_dev orvix-gsm-dev)
set(ORVIX_PACKAGE_gateway orvix-gsm-gateway)

# Compressed without a name or a time, so that the bytes depend on the content alone.
function(orvix_install_compressed file name destination component)
  set(result ${CMAKE_BINARY_DIR}/packaging/${component}/${name}.gz)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packaging/${component})
  execute_process(COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/packaging/${file} OUTPUT_FILE ${result} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${result} DESTINATION ${destination} COMPONENT ${component})
endfunction()

# orvix_install_manual(component page...)
function(orvix_install_manual component)
  foreach(page ${ARGN})
    cmake_path(GET page EXTENSION LAST_ONLY section)
    string(SUBSTRING ${section} 1 -1 section)
    orvix_install_compressed(${page} ${page} share/man/man${section} ${component})
  endforeach()
endfunction()

# orvix_install_completion(component program file)
function(orvix_install_completion component program file)
  install(FILES packaging/${file} DESTINATION share/bash-completion/completions RENAME ${program} COMPONENT ${component})
endfunction()

# The plug-in, the programs for a person, and all that is to be read.
install(TARGETS gsmmodem DESTINATION ${ORVIX_PLUGIN_DIR} COMPONENT runtime)
install(TARGETS gsm-host gsm-modem-simulator DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(PROGRAMS scripts/tcp-line DESTINATION lib/orvix COMPONENT runtime)
install(FILES packaging/gsm-tcp-line@.service DESTINATION lib/systemd/system COMPONENT runtime)
install(FILES packaging/modem.json DESTINATION share/doc/orvix-gsm/examples COMPONENT runtime)
install(FILES README.md DESTINATION share/doc/orvix-gsm COMPONENT runtime)
install(DIRECTORY docs DESTINATION share/doc/orvix-gsm COMPONENT runtime)
install(DIRECTORY examples/scenarios examples/recordings DESTINATION share/doc/orvix-gsm/examples COMPONENT runtime)
orvix_install_manual(runtime gsm-host.1 gsm-modem-simulator.1 gsm-tcp-line.8 gsm-scenario.5 gsm-recording.5)
foreach(program gsm-host gsm-modem-simulator)
  orvix_install_completion(runtime ${program} gsm-host.bash)
endforeach()

# For those who write a host.
install(TARGETS orvix_host orvix_api orvix_document orvix_common xpl xdbg EXPORT OrvixGsm
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev INCLUDES DESTINATION include/orvix)
install(EXPORT OrvixGsm NAMESPACE OrvixGsm:: FILE OrvixGsmTargets.cmake DESTINATION ${ORVIX_CMAKE_DIR} COMPONENT dev)
include(CMakePackageConfigHelpers)
configure_package_config_file(packaging/OrvixGsmConfig.cmake.in ${CMAKE_BINARY_DIR}/packaging/OrvixGsmConfig.cmake
  INSTALL_DESTINATION ${ORVIX_CMAKE_DIR} PATH_VARS ORVIX_PLUGIN_DIR)
install(FILES ${CMAKE_BINARY_DIR}/packaging/OrvixGsmConfig.cmake DESTINATION ${ORVIX_CMAKE_DIR} COMPONENT dev)
foreach(target host api document common)
  set_target_properties(orvix_${target} PROPERTIES EXPORT_NAME ${target})
endforeach()
foreach(header plugin/device.h plugin/names.h plugin/plugin.h serial/xpl.h common/status.h common/text.h)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION include/orvix/${folder} COMPONENT dev)
endforeach()
install(DIRECTORY document hostkit DESTINATION include/orvix COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(DIRECTORY examples/host DESTINATION share/doc/orvix-gsm-dev/examples COMPONENT dev)

# The service. /etc and what systemd and udev read lie where they look, whatever the prefix of the programs.
set(components runtime dev)
if(TARGET gsm-gateway)
  list(APPEND components gateway)
  install(TARGETS gsm-gateway DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT gateway)
  install(FILES packaging/gateway.json DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/orvix COMPONENT gateway)
  install(FILES packaging/gsm-gateway.service DESTINATION lib/systemd/system COMPONENT gateway)
  install(FILES packaging/gsm-gateway.sysusers DESTINATION lib/sysusers.d RENAME gsm-gateway.conf COMPONENT gateway)
  install(FILES packaging/gsm-gateway.tmpfiles DESTINATION lib/tmpfiles.d RENAME gsm-gateway.conf COMPONENT gateway)
  install(FILES packaging/61-gsm-gateway.rules DESTINATION lib/udev/rules.d COMPONENT gateway)
  install(FILES packaging/gateway-example.json DESTINATION share/doc/orvix-gsm-gateway/examples RENAME gateway.json
    COMPONENT gateway)
  orvix_install_manual(gateway gsm-gateway.1)
  orvix_install_completion(gateway gsm-gateway gsm-gateway.bash)
endif()

foreach(component ${components})
  orvix_install_compressed(changelog changelog share/doc/${ORVIX_PACKAGE_${component}} ${component})
  install(FILES packaging/copyright DESTINATION share/doc/${ORVIX_PACKAGE_${component}} COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvix-gsm)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Orvix GSM maintainers <maintainers@orvix-gsm.invalid>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each component's description begins with its own

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME orvix-gsm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS socat)
file(GLOB CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/orvix-gsm/*)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "GSM modem device plug-in
A module that device gateways load to gain the device type GSMModem: signal,
registration and text messages of a GSM modem on a serial line. gsm-host drives
it by hand; gsm-modem-simulator stands in for a modem.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME orvix-gsm-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libbson-dev (>= 1.23), libgoogle-glog-dev")
set(CPACK_DEBIAN_DEV_PACKAGE_RECOMMENDS "orvix-gsm")
set(CPACK_COMPONENT_DEV_DESCRIPTION "development files for hosts of the GSM modem device plug-in
Headers, static libraries and a CMake package for programs that load the
GSMModem device plug-in: the device interface, documents, and a kit that loads
the module, keeps its thread rules and judges what became of a message.")

set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME orvix-gsm-gateway)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_DEPENDS "orvix-gsm (= ${PROJECT_VERSION}), \
systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_GATEWAY_PACKAGE_RECOMMENDS udev)
file(GLOB CPACK_DEBIAN_GATEWAY_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/orvix-gsm-gateway/*)
set(CPACK_COMPONENT_GATEWAY_DESCRIPTION "durable outbox for text messages over GSM modems
A service that keeps GSM modems in service and sends text messages through
them: durable, at most once, and truthful about what became of each. Takes
messages over HTTP, MQTT and the command line.")
include(CPack)
