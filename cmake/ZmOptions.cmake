# zm_options: what every target of ours compiles with.
add_library(zm_options INTERFACE)
target_compile_features(zm_options INTERFACE cxx_std_20)
target_compile_options(zm_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2
    $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations -Wnon-virtual-dtor -Woverloaded-virtual>
    $<$<BOOL:${ZM_WERROR}>:-Werror>
    # 32-bit float results must not depend on whether the processor has fused multiply-add.
    -ffp-contract=off)

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

pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0 gobject-2.0 gio-2.0)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo)
pkg_check_modules(URIPARSER REQUIRED IMPORTED_TARGET liburiparser)
