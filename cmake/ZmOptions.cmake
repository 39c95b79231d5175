# zm_language: what everybody who uses our headers compiles with.
add_library(zm_language INTERFACE)
target_compile_features(zm_language INTERFACE cxx_std_20)
# 32-bit float results must not depend on whether the processor has fused multiply-add.
target_compile_options(zm_language INTERFACE -ffp-contract=off)

# zm_options: what every target of ours compiles with. How strict others are with their code is theirs.
add_library(zm_options INTERFACE)
target_link_libraries(zm_options INTERFACE zm_language)
target_compile_options(zm_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2
    $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations -Wnon-virtual-dtor -Woverloaded-virtual>
    $<$<BOOL:${ZM_WERROR}>:-Werror>
    # clang's word for the arrays at the end of the platform's structs.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-c99-extensions>)

# What is built tells nothing of where it was built.
add_compile_options("-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
# What nobody calls is left out of the program; what is in it is hardened as a program is that anybody's
# requests reach.
add_compile_options(-ffunction-sections -fdata-sections)
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT ZM_SANITIZE)
    add_compile_options(-fstack-protector-strong
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
endif()

if(ZM_SANITIZE)
    # Checked code is compiled for its checks: full optimisation takes the compiler twice as long here.
    add_compile_options(-fsanitize=${ZM_SANITIZE} -fno-omit-frame-pointer -O1 -g1)
    add_link_options(-fsanitize=${ZM_SANITIZE})
    if(ZM_SANITIZE MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
    if(ZM_SANITIZE MATCHES "thread")
        # GCC notes that it does not model fences; the code uses none.
        add_compile_options(-Wno-tsan)
    endif()
endif()
if(ZM_FUZZ)
    # Everything of ours tells libFuzzer which way it went. What clang's own checks of types and of calls
    # through pointers say across shared libraries and GLib's casts is of no use.
    add_compile_options(-fsanitize=fuzzer-no-link -fno-sanitize=vptr,function)
endif()

pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0 gobject-2.0 gio-2.0)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo)
# What a camera does not have is linked statically where the program is for one (ZM_STATIC).
add_library(zm_yuv INTERFACE)
if(ZM_STATIC)
    find_library(ZM_YUV_LIBRARY libyuv.a REQUIRED)
    find_package(uriparser CONFIG REQUIRED)
    set(URIPARSER_VERSION "${uriparser_VERSION}")
    add_library(PkgConfig::URIPARSER INTERFACE IMPORTED)
    target_link_libraries(PkgConfig::URIPARSER INTERFACE uriparser::uriparser)
else()
    find_library(ZM_YUV_LIBRARY yuv REQUIRED)
    pkg_check_modules(URIPARSER REQUIRED IMPORTED_TARGET liburiparser)
endif()
target_link_libraries(zm_yuv INTERFACE "${ZM_YUV_LIBRARY}")
