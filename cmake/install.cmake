# What goes where: the components plugin, tools and development.

install(TARGETS micrologix LIBRARY DESTINATION ${MLX_PLUGIN_DIR} COMPONENT plugin)
if(mlx_qt_major EQUAL 4)
    return()
endif()
install(TARGETS df1 RUNTIME COMPONENT tools)
install(FILES packaging/completion/df1.bash RENAME df1
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tools)
install(FILES packaging/completion/_df1
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions COMPONENT tools)
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.md" PATTERN man EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)

file(GLOB man_pages CONFIGURE_DEPENDS docs/man/*.1)
foreach(page ${man_pages})
    cmake_path(GET page FILENAME name)
    add_custom_command(OUTPUT ${name}.gz DEPENDS ${page} VERBATIM
        COMMAND sh -c "gzip -9n < \"$1\" > \"$2\"" sh ${page} ${name}.gz)
    list(APPEND packed_pages ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
endforeach()
add_custom_target(man ALL DEPENDS ${packed_pages})
install(FILES ${packed_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)

# The same include root as here; what only sources include stays behind.
install(DIRECTORY runtime/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/micrologix COMPONENT development
    FILES_MATCHING PATTERN "*.h"
    PATTERN drivers/df1/messageparts.h EXCLUDE
    PATTERN drivers/micrologix/commands.h EXCLUDE
    PATTERN drivers/micrologix/elements.h EXCLUDE
    PATTERN drivers/micrologix/names.h EXCLUDE
    PATTERN host/csvreader.h EXCLUDE
    PATTERN simulator/elementbits.h EXCLUDE
    PATTERN simulator/jsonfile.h EXCLUDE
    PATTERN simulator/request.h EXCLUDE
    PATTERN simulator/session.h EXCLUDE)

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
