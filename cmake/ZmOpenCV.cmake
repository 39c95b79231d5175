# OpenCV >= 4.7: OpenCV_DIR, the system's, the machine's cached build, or a new build into that cache.
if(NOT OpenCV_DIR)
    execute_process(
        COMMAND "${CMAKE_SOURCE_DIR}/tools/opencv/ensure-opencv.sh"
        OUTPUT_VARIABLE opencv_dir OUTPUT_STRIP_TRAILING_WHITESPACE
        RESULT_VARIABLE opencv_failed)
    if(opencv_failed)
        message(FATAL_ERROR "There is no OpenCV 4.7 or newer (see above).")
    endif()
    set(OpenCV_DIR "${opencv_dir}" CACHE PATH "Folder of OpenCVConfig.cmake" FORCE)
endif()
find_package(OpenCV 4.7 REQUIRED COMPONENTS core imgproc calib3d objdetect)

# Whether this is our own build with the accelerator. It names the same build without it
# (ZM_OPENCV_STOCK_DIR), for comparisons. A program asks cv::getBuildInformation().
include("${OpenCV_DIR}/zerith-accelerator.cmake" OPTIONAL RESULT_VARIABLE ZM_OPENCV_ACCELERATED)
set(ZM_MARKER_DETECTION "the library's own marker detection")
if(ZM_OPENCV_ACCELERATED)
    set(ZM_MARKER_DETECTION "accelerated marker detection")
endif()
message(STATUS "OpenCV ${OpenCV_VERSION}: ${ZM_MARKER_DETECTION}")
# For scripts.
file(WRITE "${CMAKE_BINARY_DIR}/marker-detection.txt" "${ZM_MARKER_DETECTION}\n")

# All code sees OpenCV's headers as system headers: their warnings are not ours.
add_library(zm_opencv INTERFACE)
target_include_directories(zm_opencv SYSTEM INTERFACE ${OpenCV_INCLUDE_DIRS})
target_link_libraries(zm_opencv INTERFACE ${OpenCV_LIBS})

# The same build without the accelerator, for programs that compare both.
if(ZM_OPENCV_ACCELERATED AND EXISTS "${ZM_OPENCV_STOCK_DIR}/OpenCVConfig.cmake")
    find_package(ZLIB REQUIRED)
    cmake_path(GET ZM_OPENCV_STOCK_DIR PARENT_PATH stock)
    cmake_path(GET stock PARENT_PATH stock)
    cmake_path(GET stock PARENT_PATH stock)
    add_library(zm_stock_opencv INTERFACE)
    target_include_directories(zm_stock_opencv SYSTEM INTERFACE "${stock}/include/opencv4")
    foreach(module IN ITEMS objdetect calib3d features2d flann imgproc core)
        target_link_libraries(zm_stock_opencv INTERFACE "${stock}/lib/libopencv_${module}.a")
    endforeach()
    target_link_libraries(zm_stock_opencv INTERFACE ZLIB::ZLIB Threads::Threads ${CMAKE_DL_LIBS})
endif()
