# The easy layer: a second library, a host of the core like any other, which has the C++ run-time library and
# threads. Part of the top CMakeLists.txt, whose functions and variables it uses.
find_package(Threads REQUIRED)

velajpeg_object_library(velajpeg_easy_objects
    easy/colour/choice.cpp
    easy/colour/plain.cpp)
set(easy_objects $<TARGET_OBJECTS:velajpeg_easy_objects>)
foreach(isa IN LISTS instruction_sets)
    list(APPEND easy_objects $<TARGET_OBJECTS:velajpeg_easy_kernels_${isa}>)
endforeach()
