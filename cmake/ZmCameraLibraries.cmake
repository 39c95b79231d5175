# camera_libraries: the four libraries of the camera platform, by their pkg-config names only, whether
# they are our own host camera or the ones of the platform's SDK.
add_library(camera_libraries INTERFACE)
if(ZM_CAMERA STREQUAL "host")
    # The host camera writes its .pc files at configure time; its libraries follow when they are built.
    set(ENV{PKG_CONFIG_PATH} "${ZM_HOST_PKGCONFIG_DIR}:$ENV{PKG_CONFIG_PATH}")
    add_dependencies(camera_libraries vdostream axparameter axevent axoverlay)
    target_link_options(camera_libraries INTERFACE "LINKER:-rpath-link,${ZM_HOST_LIBRARY_DIR}")
endif()
foreach(module IN ITEMS vdostream axparameter axevent axoverlay)
    pkg_check_modules(CAMERA_${module} REQUIRED ${module})
    if(ZM_CAMERA STREQUAL "host" AND CMAKE_SYSROOT)
        # pkg-config looks for everything in the folder of the other processor's libraries; these are not there.
        foreach(kind IN ITEMS INCLUDE_DIRS LIBRARY_DIRS)
            list(TRANSFORM CAMERA_${module}_${kind}
                REPLACE "^${CMAKE_SYSROOT}(${CMAKE_SOURCE_DIR}|${CMAKE_BINARY_DIR})/" "\\1/")
        endforeach()
    endif()
    target_include_directories(camera_libraries SYSTEM INTERFACE ${CAMERA_${module}_INCLUDE_DIRS})
    target_link_directories(camera_libraries INTERFACE ${CAMERA_${module}_LIBRARY_DIRS})
    target_link_libraries(camera_libraries INTERFACE ${CAMERA_${module}_LIBRARIES})
endforeach()
