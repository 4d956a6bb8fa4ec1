# Finds the Qt that everything builds on and names its parts mlx_qt_core,
# mlx_qt_network, mlx_qt_serialport, mlx_qt_sql and mlx_qt_test.

set(MLX_QT "" CACHE STRING "Major version of Qt, 5 or 6; empty: the newest that is found")
set_property(CACHE MLX_QT PROPERTY STRINGS "" 5 6)

if(MLX_QT STREQUAL "")
    find_package(QT NAMES Qt6 Qt5 COMPONENTS Core REQUIRED)
    set(mlx_qt_major ${QT_VERSION_MAJOR})
elseif(MLX_QT MATCHES "^[56]$")
    set(mlx_qt_major ${MLX_QT})
else()
    message(FATAL_ERROR "MLX_QT is '${MLX_QT}'; give 5 or 6, or nothing for the newest found")
endif()

set(mlx_qt_components Core Network SerialPort Sql)
if(BUILD_TESTING)
    list(APPEND mlx_qt_components Test)
endif()
if(mlx_qt_major EQUAL 6)
    list(APPEND mlx_qt_components Core5Compat)
endif()
find_package(Qt${mlx_qt_major} REQUIRED COMPONENTS ${mlx_qt_components})

# The moc that stands beside cross libraries runs on their machine, not on this one.
if(CMAKE_CROSSCOMPILING)
    find_program(MLX_HOST_MOC moc REQUIRED NO_CMAKE_FIND_ROOT_PATH
        PATHS /usr/lib/qt${mlx_qt_major}/bin /usr/lib/qt${mlx_qt_major}/libexec NO_DEFAULT_PATH
        DOC "moc of this machine, of the same version as the cross libraries")
    set_target_properties(Qt${mlx_qt_major}::moc PROPERTIES IMPORTED_LOCATION ${MLX_HOST_MOC})
endif()

foreach(component ${mlx_qt_components})
    string(TOLOWER ${component} name)
    add_library(mlx_qt_${name} INTERFACE)
    target_link_libraries(mlx_qt_${name} INTERFACE Qt${mlx_qt_major}::${component})
endforeach()
if(mlx_qt_major EQUAL 6)
    target_link_libraries(mlx_qt_core INTERFACE Qt6::Core5Compat) # QRegExp
endif()
message(STATUS "Qt: ${Qt${mlx_qt_major}_VERSION}")
