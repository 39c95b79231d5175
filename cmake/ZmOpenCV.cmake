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

# All code sees OpenCV's headers as system headers: their warnings are not ours.
add_library(zm_opencv INTERFACE)
target_include_directories(zm_opencv SYSTEM INTERFACE ${OpenCV_INCLUDE_DIRS})
target_link_libraries(zm_opencv INTERFACE ${OpenCV_LIBS})
