# What the Python package is built with, python_found; find_how is QUIET or REQUIRED. Python comes first:
# pybind11 takes what is found already.
if(NOT Python_EXECUTABLE AND EXISTS /usr/bin/python3) # the one that Debian's packages are for
    set(Python_EXECUTABLE /usr/bin/python3)
endif()
find_package(Python 3.9 ${find_how} COMPONENTS Interpreter Development.Module)
if(Python_FOUND)
    find_package(pybind11 2.10 CONFIG ${find_how})
endif()
set(python_found ${pybind11_FOUND})
