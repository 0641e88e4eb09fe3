# What the GStreamer element is built with, gstreamer_found; find_how is QUIET or REQUIRED.
find_package(PkgConfig ${find_how})
if(PkgConfig_FOUND)
    pkg_check_modules(gstreamer ${find_how} IMPORTED_TARGET gstreamer-1.0>=1.20 gstreamer-video-1.0>=1.20)
endif()
set(gstreamer_found ${gstreamer_FOUND})
