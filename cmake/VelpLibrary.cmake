# velp_add_shared_library(NAME OBJECTS) makes lib<NAME>.so.0 of the objects of target OBJECTS.

function(velp_add_shared_library name objects)
  add_library(${name} SHARED $<TARGET_OBJECTS:${objects}>)
  target_compile_features(${name} PUBLIC cxx_std_17)
  target_include_directories(${name} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION 0)
  # A library names everything it needs itself. Sanitizers break that: their runtime is in the
  # program.
  if(NOT VELP_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,-z,defs)
  endif()
endfunction()
