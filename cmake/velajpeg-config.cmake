# velajpeg::velajpeg and velajpeg::easy are the shared libraries, or the static ones where those were
# installed alone.
include(CMakeFindDependencyMacro)
if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/velajpeg-easy-targets.cmake)
    set(THREADS_PREFER_PTHREAD_FLAG ON)
    find_dependency(Threads) # of the static easy layer
endif()
include(${CMAKE_CURRENT_LIST_DIR}/velajpeg-targets.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/velajpeg-easy-targets.cmake OPTIONAL)
foreach(library IN ITEMS velajpeg easy)
    if(NOT TARGET velajpeg::${library} AND TARGET velajpeg::${library}_static)
        add_library(velajpeg::${library} ALIAS velajpeg::${library}_static)
    endif()
endforeach()
