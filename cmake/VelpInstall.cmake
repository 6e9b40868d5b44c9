# What is installed: libraries, headers, the CMake package and the pkg-config files.
