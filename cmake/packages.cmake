# A tarball of everything and, for this machine's own kind, a .deb of each component.

set(CPACK_PACKAGE_NAME micrologix-df1)
set(CPACK_PACKAGE_CONTACT "MicroLogix DF1 driver maintainers <maintainers@invalid.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "DF1 driver for Allen-Bradley MicroLogix controllers")
set(CPACK_PACKAGE_FILE_NAME
    ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL plugin tools development)
set(CPACK_COMPONENT_PLUGIN_DESCRIPTION "The driver plugin for operator panels' runtimes.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "The program df1, which reads and writes controllers.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Headers and libraries for hosts of driver plugins, and a simulated\ncontroller for their tests.")

set(CPACK_GENERATOR TGZ)
if(CMAKE_CROSSCOMPILING OR mlx_qt_major EQUAL 4)
    include(CPack)
    return() # dpkg-shlibdeps would look at this machine's libraries
endif()

list(APPEND CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_NAME micrologix-df1-plugin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME micrologix-df1-tools)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME micrologix-df1-dev)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(same_plugin "micrologix-df1-plugin (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${same_plugin}")
if(mlx_qt_major EQUAL 6)
    set(qt_development "qt6-base-dev, qt6-serialport-dev, qt6-5compat-dev")
else()
    set(qt_development "qtbase5-dev, libqt5serialport5-dev")
endif()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${same_plugin}, ${qt_development}")

configure_file(packaging/changelog.in changelog @ONLY)
execute_process(COMMAND gzip -9nf ${CMAKE_CURRENT_BINARY_DIR}/changelog COMMAND_ERROR_IS_FATAL ANY)
foreach(component plugin tools development)
    string(TOUPPER ${component} name)
    install(FILES packaging/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME}
        COMPONENT ${component})
endforeach()
install(FILES packaging/lintian-overrides RENAME ${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT development)
include(CPack)
