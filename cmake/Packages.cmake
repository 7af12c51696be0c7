# What is installed beside the programs and the plug-in, and the Debian packages. scripts/package
# makes them; docs/packages.md tells what is in which.
include(CMakePackageConfigHelpers)

# ---- What a host is built with

set(include_directory "${CMAKE_INSTALL_INCLUDEDIR}/dmc50v3")
set(config_directory "${CMAKE_INSTALL_LIBDIR}/cmake/dmc50v3")
set(plugin_directory "${CMAKE_INSTALL_LIBDIR}/dmc50v3")
set(host_headers
  common/armlinuxhmi.h
  common/clock.h
  common/lib_crc.h
  common/messagecenter.h
  common/qtcompat.h
  common/spifram.h
  common/tools.h
  common/txpackage.h
  common/x86linuxhmi.h
  common/zbuzzer.h
  common/zdevice.h
  common/zdevice_platform.h
  common/zsetting.h
  driver/drv_dev_setting.h
  hmi/abstractbuzzerinterface.h
  hmi/abstractdeviceinterface.h
  hmi/driverinterface.h
  hmi/platform.h)
foreach(header ${host_headers})
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "${header}" DESTINATION "${include_directory}/${folder}" COMPONENT development)
endforeach()

set_target_properties(dmc50_common PROPERTIES EXPORT_NAME common)
set_target_properties(dmc50_records PROPERTIES EXPORT_NAME records)
install(TARGETS dmc50_common dmc50_records
  EXPORT dmc50v3-targets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
  INCLUDES DESTINATION "${include_directory}")
install(EXPORT dmc50v3-targets
  NAMESPACE dmc50v3::
  DESTINATION "${config_directory}"
  COMPONENT development)

configure_package_config_file(packaging/dmc50v3-config.cmake.in dmc50v3-config.cmake
  INSTALL_DESTINATION "${config_directory}"
  PATH_VARS plugin_directory)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/dmc50v3-config-version.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/dmc50v3-config.cmake"
    "${PROJECT_BINARY_DIR}/dmc50v3-config-version.cmake"
  DESTINATION "${config_directory}"
  COMPONENT development)

configure_file(packaging/dmc50v3.pc.in dmc50v3.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/dmc50v3.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)

# ---- Manual pages: what --help says

# dmc50_man_page(PROGRAM "what it does, for the page's first line")
function(dmc50_man_page program purpose)
  set(page "${PROJECT_BINARY_DIR}/man/${program}.1.gz")
  set(more "${PROJECT_SOURCE_DIR}/packaging/${program}.h2m")
  add_custom_command(OUTPUT "${page}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${PROJECT_BINARY_DIR}/man"
    COMMAND "${HELP2MAN}" --no-info --name "${purpose}" --include "${more}"
      --output "man/${program}.1" "$<TARGET_FILE:${program}>"
    COMMAND gzip -9nf "man/${program}.1"
    WORKING_DIRECTORY "${PROJECT_BINARY_DIR}"
    DEPENDS "${program}" "${more}"
    VERBATIM)
  add_custom_target(man-${program} ALL DEPENDS "${page}")
  install(FILES "${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
endfunction()

option(DMC50_MAN_PAGES "Make the manual pages, which takes help2man" OFF)
if(DMC50_MAN_PAGES)
  find_program(HELP2MAN help2man REQUIRED)
  dmc50_man_page(dmc50-sim "play DMC50 controllers on a pty or a serial port")
  dmc50_man_page(dmc50-terminal "run the DMC50 driver as an operator terminal does")
endif()

# ---- Debian packages

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The DMC50 driver developers <developers@dmc50.example>")
set(CPACK_COMPONENTS_ALL driver tools development)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DRIVER_PACKAGE_NAME dmc50v3-driver)
set(CPACK_DEBIAN_DRIVER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DRIVER_PACKAGE_DEPENDS "libqt5sql5-sqlite")
set(CPACK_COMPONENT_DRIVER_DESCRIPTION
"driver for DMC50 temperature controllers, for operator terminals
 A plug-in through which the screens of an operator terminal read and write
 DMC50 multi-loop controllers on one RS-485 line.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME dmc50v3-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "dmc50v3-driver (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"terminal and simulator for the DMC50 driver
 dmc50-terminal runs the driver as an operator terminal does and shows living
 values, dmc50-sim plays controllers on a pty or a serial port.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME dmc50v3-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "dmc50v3-driver (= ${PROJECT_VERSION}), qtbase5-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"development files for hosts of the DMC50 driver
 Headers of the plug-in's boundary, and the services that a host shares with
 the drivers that it loads: storage monitor, message panel, beeper, settings.")

# Each package brings its license and its history.
set(history "${PROJECT_BINARY_DIR}/packaging/changelog.gz")
add_custom_command(OUTPUT "${history}"
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${PROJECT_BINARY_DIR}/packaging"
  COMMAND gzip -9nc "${PROJECT_SOURCE_DIR}/packaging/changelog" > "${history}"
  DEPENDS "${PROJECT_SOURCE_DIR}/packaging/changelog"
  VERBATIM)
add_custom_target(packaging ALL DEPENDS "${history}")
foreach(component DRIVER TOOLS DEVELOPMENT)
  string(TOLOWER "${component}" lower)
  install(FILES "${history}" packaging/copyright
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME}"
    COMPONENT "${lower}")
endforeach()

include(CPack)
