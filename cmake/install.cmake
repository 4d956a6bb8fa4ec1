# What goes where: the components plugin, tools and development.

install(TARGETS micrologix LIBRARY DESTINATION ${MLX_PLUGIN_DIR} COMPONENT plugin)
if(mlx_qt_major EQUAL 4)
    return()
endif()
install(TARGETS df1 RUNTIME COMPONENT tools)
install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools
    OPTIONAL FILES_MATCHING PATTERN "*.1")
install(FILES packaging/wireshark/df1.lua
    DESTINATION ${CMAKE_INSTALL_DATADIR}/micrologix COMPONENT tools)
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)

# The same include root as here; the plugin's own headers stay behind.
install(DIRECTORY runtime/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/micrologix COMPONENT development
    FILES_MATCHING PATTERN "*.h"
    PATTERN micrologix/commands.h EXCLUDE
    PATTERN micrologix/elements.h EXCLUDE
    PATTERN micrologix/names.h EXCLUDE)

set(qt_parts ${mlx_qt_installed})
list(TRANSFORM qt_parts TOLOWER)
foreach(part ${qt_parts})
    set_target_properties(mlx_qt_${part} PROPERTIES EXPORT_NAME qt_${part})
    install(TARGETS mlx_qt_${part} EXPORT micrologix)
endforeach()
foreach(library drivers host simulator)
    set_target_properties(${library} PROPERTIES OUTPUT_NAME micrologix-${library})
endforeach()
install(TARGETS drivers host simulator EXPORT micrologix
    ARCHIVE COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/micrologix)

include(CMakePackageConfigHelpers)
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/micrologix)
set(mlx_qt_dependencies ${mlx_qt_installed})
if(mlx_qt_major EQUAL 6)
    list(APPEND mlx_qt_dependencies Core5Compat)
endif()
list(JOIN mlx_qt_dependencies " " mlx_qt_dependencies)
set(mlx_plugin_file ${MLX_PLUGIN_DIR}/libmicrologix.so)
configure_package_config_file(packaging/micrologix-config.cmake.in micrologix-config.cmake
    INSTALL_DESTINATION ${config_folder} PATH_VARS mlx_plugin_file)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/micrologix-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/micrologix-config.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/micrologix-config-version.cmake
    DESTINATION ${config_folder} COMPONENT development)
install(EXPORT micrologix NAMESPACE micrologix:: FILE micrologix-targets.cmake
    DESTINATION ${config_folder} COMPONENT development)

set(pc_requires ${mlx_qt_dependencies})
string(REGEX REPLACE "([^ ]+)" "Qt${mlx_qt_major}\\1" pc_requires "${pc_requires}")
string(REGEX REPLACE "[^/]+" ".." pc_to_prefix "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
configure_file(packaging/micrologix.pc.in micrologix.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/micrologix.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME micrologix-df1)
set(CPACK_PACKAGE_CONTACT "MicroLogix DF1 driver maintainers <maintainers@invalid.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "DF1 driver for Allen-Bradley MicroLogix controllers")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL plugin tools development)
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
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${same_plugin}, ${qt_development}, libpcap0.8-dev")
set(CPACK_COMPONENT_PLUGIN_DESCRIPTION "The driver plugin for operator panels' runtimes.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "The program df1, which reads and writes controllers.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers and libraries for hosts of driver plugins.")

configure_file(packaging/changelog.in changelog @ONLY)
execute_process(COMMAND gzip -9nf ${CMAKE_CURRENT_BINARY_DIR}/changelog COMMAND_ERROR_IS_FATAL ANY)
foreach(component plugin tools development)
    string(TOUPPER ${component} name)
    install(FILES packaging/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME}
        COMPONENT ${component})
endforeach()
include(CPack)
