# velajpeg::velajpeg is the shared library, or the static one where that was installed alone.
include(${CMAKE_CURRENT_LIST_DIR}/velajpeg-targets.cmake)
if(NOT TARGET velajpeg::velajpeg)
    add_library(velajpeg::velajpeg ALIAS velajpeg::velajpeg_static)
endif()
