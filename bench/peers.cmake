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
