# Compile options that every target of the project shares, as one interface library. Nothing of it
# reaches those who use the installed libraries.

add_library(velp_options INTERFACE)
target_compile_options(velp_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual)
# Large files in 32-bit builds. Not _TIME_BITS: timespec stands in public headers and must be the
# same type for the library and its users.
target_compile_definitions(velp_options INTERFACE _FILE_OFFSET_BITS=64)
if(VELP_WARNINGS_AS_ERRORS)
  target_compile_options(velp_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(velp_options INTERFACE -Wthread-safety)
endif()

if(VELP_SANITIZE)
  add_compile_options(
    -fsanitize=${VELP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VELP_SANITIZE})
endif()
if(VELP_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
