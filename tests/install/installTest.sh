#!/usr/bin/env bash
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
# One step of the installation tests: installTest.sh STEP BUILD_DIR LIBDIR CXX [FLAGS...]
set -euo pipefail

readonly step=$1 buildDir=$2 libDir=$3 cxx=$4
readonly flags=("${@:5}")
here=$(dirname "$(readlink -f "$0")")
readonly here consumer=$here/consumer
readonly scratch=$buildDir/install-test
readonly first=$scratch/first prefix=$scratch/moved
export PKG_CONFIG_LIBDIR=$prefix/$libDir/pkgconfig

install() {
  rm -rf "$scratch"
  cmake --install "$buildDir" --prefix "$first"
  mv "$first" "$prefix"
}

# Text files only: debug information of the libraries names the sources, as it must.
noPaths() {
  ! grep -rIlF -e "$(readlink -f "$here/../..")" -e "$buildDir" -e "$first" "$prefix"
}

sonames() {
  hasSoname velpmsg
  hasSoname velpframework
}

hasSoname() {
  readelf -d "$prefix/$libDir/lib$1.so" | grep -F "Library soname: [lib$1.so.0]"
}

findPackage() {
  buildWithCMake "$consumer" "$scratch/find-package"
  "$scratch/find-package/roundTrip"
}

# A later language standard and the consumer's own warnings must not trouble the headers.
pkgConfig() {
  compileWithPkgConfig velpmsg roundTrip.cpp -std=c++20
  LD_LIBRARY_PATH=$prefix/$libDir "$scratch/roundTrip"
}

frameworkAlone() {
  compileWithPkgConfig velpframework frameworkOnly.cpp -std=c++17
  LD_LIBRARY_PATH=$prefix/$libDir "$scratch/frameworkOnly"
  ! readelf -d "$scratch/frameworkOnly" | grep -F libvelpmsg
}

plugin() {
  buildWithCMake "$consumer" "$scratch/plugin"
  "$scratch/plugin/pluginHost" "$scratch/plugin/libplugin.so"
}

# The project that the guide tells to copy, outside this tree.
guide() {
  cp -r "$here/../../examples/guide" "$scratch/guide-project"
  buildWithCMake "$scratch/guide-project" "$scratch/guide"
  "$scratch/guide/note-test"
}

# buildWithCMake SOURCE BUILD
buildWithCMake() {
  cmake -S "$1" -B "$2" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="${flags[*]}"
  cmake --build "$2"
}

# compileWithPkgConfig PACKAGE SOURCE STANDARD
compileWithPkgConfig() {
  local options
  read -ra options <<<"$(pkg-config --cflags --libs "$1")"
  "$cxx" "${flags[@]}" "$3" -Wall -Wextra -Wpedantic -Werror "$consumer/$2" "${options[@]}" \
    -o "$scratch/$(basename "$2" .cpp)"
}

"$step"
