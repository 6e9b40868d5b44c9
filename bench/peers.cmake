# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
# Other people's systems, each if its library is installed. One that is not is left out, and listed
# as missing by compare.py.
find_package(PkgConfig QUIET)

# velp_add_peer(NAME PACKAGE MODULE...): a system whose library is known to pkg-config as MODULEs.
function(velp_add_peer name package)
  if(PKG_CONFIG_FOUND)
    pkg_check_modules(VELP_PEER_${name} QUIET IMPORTED_TARGET ${ARGN})
  endif()
  if(VELP_PEER_${name}_FOUND)
    velp_add_bench_system(${name} PkgConfig::VELP_PEER_${name})
  else()
    message(STATUS "No ${name} (Debian: ${package}): it is not compared.")
  endif()
endfunction()

velp_add_peer(sdbus libsystemd-dev libsystemd)
velp_add_peer(zeromq libzmq3-dev libzmq)

find_package(nng CONFIG QUIET)
if(nng_FOUND)
  velp_add_bench_system(nng nng::nng)
else()
  message(STATUS "No nng (Debian: libnng-dev): it is not compared.")
endif()
velp_add_peer(nats libnats-dev libnats)
velp_add_peer(mqtt libmosquitto-dev libmosquitto)

# gRPC's messages and stubs are generated, without regard to the warnings used here.
function(velp_add_grpc)
  find_program(VELP_PROTOC protoc)
  find_program(VELP_GRPC_PLUGIN grpc_cpp_plugin)
  if(NOT VELP_PROTOC OR NOT VELP_GRPC_PLUGIN)
    message(STATUS "No grpc (Debian: protobuf-compiler-grpc): it is not compared.")
    return()
  endif()
  velp_add_peer(grpc libgrpc++-dev grpc++ protobuf)
  if(NOT TARGET bench-grpc)
    return()
  endif()
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/grpc)
  set(generated ${folder}/bench.pb.cc ${folder}/bench.grpc.pb.cc)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(OUTPUT ${generated} ${folder}/bench.pb.h ${folder}/bench.grpc.pb.h
    COMMAND ${VELP_PROTOC} -I ${CMAKE_CURRENT_SOURCE_DIR}/systems --cpp_out=${folder}
      --grpc_out=${folder} --plugin=protoc-gen-grpc=${VELP_GRPC_PLUGIN} bench.proto
    DEPENDS systems/bench.proto VERBATIM)
  set_source_files_properties(${generated} PROPERTIES COMPILE_OPTIONS -w)
  target_sources(bench-grpc PRIVATE ${generated})
  target_include_directories(bench-grpc SYSTEM PRIVATE ${folder})
endfunction()
velp_add_grpc()
