#!/usr/bin/env bash
# Builds the module for PRESETs of CMakePresets.json, and sets up everything that this needs.
#
# Usage: tools/build.sh PRESET...      or, for its functions, in a script: source tools/build.sh
#
# Exit status: 0; 1 when the module can't be built; 2 when a tool can't be installed.

# shellcheck source=tools/packages.sh
source "$(dirname "${BASH_SOURCE[0]}")/packages.sh"

# What a preset needs, the interpreter's own build aside.
declare -Ar packages_of=(
  [native]="g++ cmake ninja-build gettext busybox bubblewrap proot fonts-liberation"
  [debug]="g++ cmake ninja-build"
  [asan]="g++ cmake ninja-build"
  [coverage]="g++ cmake ninja-build"
  [fuzz]="clang libclang-rt-dev llvm cmake ninja-build"
  [mips32el]="g++-mipsel-linux-gnu qemu-user cmake ninja-build gettext binutils"
  [armhf]="g++-arm-linux-gnueabihf qemu-user cmake ninja-build gettext binutils")

# build_preset PROJECT PRESET
#
# Installs what is missing of the packages that it needs, configures and builds. Builds of one preset
# wait for each other. A build directory from a copied or renamed checkout starts afresh, since CMake
# refuses it; so does one whose toolchain file has changed, since CMake would keep the former options.
# Exits as described above; shows the compiler's words when the module can't be built.
# With native and fuzz it sets and exports KELVARO_PYTHON, the path of the interpreter.
build_preset() {
  local project=$1 preset=$2 directory=$1/build/$2 made_for log
  local -a options=()
  # shellcheck disable=SC2086
  need_packages ${packages_of[$preset]}
  mkdir -p "$project/build"
  log=$(mktemp)
  {
    if ! flock --nonblock 8; then
      echo "Another build is at work in $directory; waiting for it" >&2
      flock 8
    fi
    if [[ -e $directory/CMakeCache.txt ]]; then
      made_for=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$directory/CMakeCache.txt")
      if [[ $made_for != "$project" ]]; then
        echo "$directory was made for $made_for: starting it afresh" >&2
        rm -rf "$directory"
      elif [[ $project/cmake/$preset.cmake -nt $directory/CMakeCache.txt ]]; then
        echo "$directory was made with other options: starting it afresh" >&2
        rm -rf "$directory"
      fi
    fi
    if [[ $preset =~ ^(native|fuzz)$ ]]; then
      KELVARO_PYTHON=$("$project/tools/python27") || exit 2
      export KELVARO_PYTHON
      options=(-DKELVARO_PYTHON="$KELVARO_PYTHON")
    fi
    if ! (cd "$project" && cmake --preset "$preset" "${options[@]}" && cmake --build --preset "$preset") \
      >"$log" 2>&1 8>&-; then
      cat "$log" >&2
      rm -f "$log"
      echo "The module could not be built for the preset $preset: see the messages above." >&2
      exit 1
    fi
  } 8>"$directory.lock"
  rm -f "$log"
}

# build_module PROJECT [PACKAGE...]
#
# Installs the PACKAGEs with what the build needs; builds the preset native, with the module and the
# catalogues, and the packages of the sample feed. Says on standard error what takes long. Exports and
# exits as build_preset does.
build_module() {
  local project=$1
  shift
  # shellcheck disable=SC2086
  need_packages ${packages_of[native]} "$@"
  if [[ ! -e $project/build/native/Kelvaro.so ]]; then
    echo "Building the module" >&2
  fi
  build_preset "$project" native
  (cd "$project" && "$KELVARO_PYTHON" -B -m simulator.packages)
}

if [[ ${BASH_SOURCE[0]} == "$0" ]]; then
  set -euo pipefail
  for preset; do
    build_preset "$(dirname "$(dirname "$(realpath "$0")")")" "$preset"
  done
fi
