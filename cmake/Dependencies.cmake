# What the system must provide; scripts/packages names the packages.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets DBus)

pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-shm xcb-damage xcb-xfixes xcb-composite xcb-shape xcb-randr
                  xcb-render xcb-xinput)
pkg_check_modules(X264 REQUIRED IMPORTED_TARGET x264)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavcodec libavformat libavutil libswscale libswresample)
pkg_check_modules(HWY REQUIRED IMPORTED_TARGET libhwy)
pkg_check_modules(PIPEWIRE REQUIRED IMPORTED_TARGET libpipewire-0.3)

if(QUILLET_TESTS)
    find_package(GTest REQUIRED)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Test)
endif()
if(QUILLET_BENCH)
    find_package(benchmark REQUIRED)
endif()
