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
    target_include_directories(camera_libraries SYSTEM INTERFACE ${CAMERA_${module}_INCLUDE_DIRS})
    target_link_directories(camera_libraries INTERFACE ${CAMERA_${module}_LIBRARY_DIRS})
    target_link_libraries(camera_libraries INTERFACE ${CAMERA_${module}_LIBRARIES})
endforeach()
