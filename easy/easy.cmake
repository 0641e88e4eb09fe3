# The easy layer: a second library, a host of the core like any other. It has the C++ run-time library and
# threads. A part of the top CMakeLists.txt, whose functions and variables it uses.
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# What hardly any machine runs, where there are kernels, is small.
if(instruction_sets)
    set_source_files_properties(easy/colour/plain.cpp PROPERTIES COMPILE_OPTIONS $<$<CONFIG:Release>:-O2>)
endif()

velajpeg_object_library(velajpeg_easy_objects
    easy/band_source.cpp
    easy/colour/choice.cpp
    easy/colour/plain.cpp
    easy/core_encoder.cpp
    easy/core_memory.cpp
    easy/easy.cpp
    easy/file_sink.cpp
    easy/formats.cpp
    easy/metadata.cpp
    easy/piece_encoder.cpp
    easy/request.cpp)
target_compile_options(velajpeg_easy_objects PRIVATE -fexceptions -frtti ${guarded_stack})
target_link_libraries(velajpeg_easy_objects PRIVATE Threads::Threads)
set(easy_objects $<TARGET_OBJECTS:velajpeg_easy_objects>)
foreach(isa IN LISTS instruction_sets)
    list(APPEND easy_objects $<TARGET_OBJECTS:velajpeg_easy_kernels_${isa}>)
endforeach()

set(installed_easy)
if(build_shared)
    # The core's shared library keeps what it knows of the processor to itself.
    add_library(velajpeg_cpu_objects OBJECT cpu/cpu_features.cpp)
    target_include_directories(velajpeg_cpu_objects PRIVATE ${PROJECT_SOURCE_DIR})
    set_target_properties(velajpeg_cpu_objects PROPERTIES
        POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(velajpeg_cpu_objects PRIVATE velajpeg_hardening velajpeg_warnings)

    set(version_script ${PROJECT_SOURCE_DIR}/cmake/velajpeg-easy.map)
    add_library(velajpeg_easy_shared SHARED ${easy_objects} $<TARGET_OBJECTS:velajpeg_cpu_objects>)
    target_link_options(velajpeg_easy_shared PRIVATE -Wl,--version-script=${version_script} -Wl,--as-needed)
    if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
        target_link_options(velajpeg_easy_shared PRIVATE -Wl,-z,defs)
    endif()
    target_link_libraries(velajpeg_easy_shared
        PUBLIC velajpeg_shared PRIVATE Threads::Threads $<BUILD_INTERFACE:velajpeg_hardening>)
    set_target_properties(velajpeg_easy_shared PROPERTIES
        OUTPUT_NAME velajpeg-easy EXPORT_NAME easy LINK_DEPENDS ${version_script}
        INSTALL_RPATH "\$ORIGIN" BUILD_WITH_INSTALL_RPATH ON # the core lies beside it, in the build tree too
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    add_library(velajpeg::easy ALIAS velajpeg_easy_shared)
    list(APPEND installed_easy velajpeg_easy_shared)
endif()

add_library(velajpeg_easy_static STATIC ${easy_objects})
target_link_libraries(velajpeg_easy_static PUBLIC velajpeg_static Threads::Threads)
set_target_properties(velajpeg_easy_static PROPERTIES OUTPUT_NAME velajpeg-easy EXPORT_NAME easy_static)
if(build_static)
    add_library(velajpeg::easy_static ALIAS velajpeg_easy_static)
    list(APPEND installed_easy velajpeg_easy_static)
    if(NOT build_shared)
        add_library(velajpeg::easy ALIAS velajpeg_easy_static)
    endif()
else()
    set_target_properties(velajpeg_easy_static PROPERTIES EXCLUDE_FROM_ALL ON)
endif()
