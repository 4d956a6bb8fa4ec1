# What goes where: the components plugin, tools and development.

install(TARGETS micrologix LIBRARY DESTINATION ${MLX_PLUGIN_DIR} COMPONENT plugin)
if(mlx_qt_major EQUAL 4)
    return()
endif()
install(TARGETS df1 RUNTIME COMPONENT tools)
install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools
    OPTIONAL FILES_MATCHING PATTERN "*.1")
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
