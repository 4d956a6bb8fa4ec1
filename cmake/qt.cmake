# Finds the Qt that everything builds on and names its parts mlx_qt_core,
# mlx_qt_sql, mlx_qt_test and, beyond Qt 4, mlx_qt_network and mlx_qt_serialport.
# Qt 4 is the panels' own: only the plugin, its toolkit and their tests are built,
# and QT_QMAKE_EXECUTABLE names the qmake of the panel's Qt.

set(MLX_QT "" CACHE STRING "Major version of Qt, 4, 5 or 6; empty: the newer that is found of 6 and 5")
set_property(CACHE MLX_QT PROPERTY STRINGS "" 4 5 6)

if(MLX_QT STREQUAL "")
    find_package(QT NAMES Qt6 Qt5 COMPONENTS Core REQUIRED)
    set(mlx_qt_major ${QT_VERSION_MAJOR})
elseif(MLX_QT MATCHES "^[456]$")
    set(mlx_qt_major ${MLX_QT})
else()
    message(FATAL_ERROR
        "MLX_QT is '${MLX_QT}'; give 4, 5 or 6, or nothing for the newer that is found of 6 and 5")
endif()

set(mlx_qt_prefix "") # QtCore is called Core since Qt 5
set(mlx_qt_components Core Sql)
if(mlx_qt_major EQUAL 4)
    set(mlx_qt_prefix Qt)
else()
    list(APPEND mlx_qt_components Network SerialPort)
endif()
set(mlx_qt_installed ${mlx_qt_components}) # what installed libraries need
if(BUILD_TESTING)
    list(APPEND mlx_qt_components Test)
endif()

set(mlx_qt_found ${mlx_qt_components})
if(mlx_qt_major EQUAL 6)
    list(APPEND mlx_qt_found Core5Compat) # QRegExp
endif()
list(TRANSFORM mlx_qt_found PREPEND "${mlx_qt_prefix}")
if(mlx_qt_major EQUAL 4)
    # qmake answers with whole paths, which need not lie in the cross toolchain's roots.
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
    find_package(Qt4 COMPONENTS ${mlx_qt_found})
    if(NOT Qt4_FOUND)
        message(FATAL_ERROR "no usable Qt 4, as said above; give the qmake of the panel's Qt as QT_QMAKE_EXECUTABLE")
    endif()
    if(NOT QT_MKSPECS_DIR)
        message(FATAL_ERROR "there is no qconfig.pri where ${QT_QMAKE_EXECUTABLE} says that its "
            "mkspecs are; give the folder that has it as QT_MKSPECS_DIR")
    endif()
else()
    find_package(Qt${mlx_qt_major} REQUIRED COMPONENTS ${mlx_qt_found})
endif()

# The moc that stands beside cross libraries runs on their machine, not on this one;
# the one beside Qt 4's qmake runs where qmake does.
if(CMAKE_CROSSCOMPILING AND NOT mlx_qt_major EQUAL 4)
    find_program(MLX_HOST_MOC moc REQUIRED NO_CMAKE_FIND_ROOT_PATH
        PATHS /usr/lib/qt${mlx_qt_major}/bin /usr/lib/qt${mlx_qt_major}/libexec NO_DEFAULT_PATH
        DOC "moc of this machine, of the same version as the cross libraries")
    set_target_properties(Qt${mlx_qt_major}::moc PROPERTIES IMPORTED_LOCATION ${MLX_HOST_MOC})
endif()

foreach(component ${mlx_qt_components})
    string(TOLOWER ${component} name)
    add_library(mlx_qt_${name} INTERFACE)
    target_link_libraries(mlx_qt_${name}
        INTERFACE Qt${mlx_qt_major}::${mlx_qt_prefix}${component})
endforeach()
if(mlx_qt_major EQUAL 6)
    target_link_libraries(mlx_qt_core INTERFACE Qt6::Core5Compat)
endif()
if(mlx_qt_major EQUAL 4)
    if(BUILD_TESTING)
        # Qt 4's own takes QCoreApplication where QtGui is not linked.
        target_compile_definitions(mlx_qt_test INTERFACE QTEST_GUILESS_MAIN=QTEST_MAIN)
    endif()
    set(Qt4_VERSION ${QT_VERSION_MAJOR}.${QT_VERSION_MINOR}.${QT_VERSION_PATCH})
endif()
message(STATUS "Qt: ${Qt${mlx_qt_major}_VERSION}")
