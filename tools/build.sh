# shellcheck shell=bash
# What ./run and ./test have in common: the packages, the interpreter and the built module.
# For scripts that source this file; it sources tools/packages.sh.

# shellcheck source=tools/packages.sh
source "$(dirname "${BASH_SOURCE[0]}")/packages.sh"

# build_module PROJECT [PACKAGE...]
#
# Installs what is missing of the packages that building and running need, and of the PACKAGEs;
# makes the interpreter; builds PROJECT/build/native/Kelvaro.so, and the catalogues of plugin/po/ into
# PROJECT/build/locale/. Sets and exports KELVARO_PYTHON, the path of the interpreter. Says on
# standard error what takes long. Exits with status 2 when a tool can't be had, with 1 and the
# compiler's words when the module can't be built.
build_module() {
  local project=$1 catalogue
  shift
  need_packages g++ cmake ninja-build busybox bubblewrap proot gettext "$@"
  KELVARO_PYTHON=$("$project/tools/python27") || exit 2
  export KELVARO_PYTHON
  if [[ ! -e $project/build/native/Kelvaro.so ]]; then
    echo "Building the module" >&2
  fi
  build_preset "$project" native -DKELVARO_PYTHON="$KELVARO_PYTHON"

  mkdir -p "$project/build/locale"
  for catalogue in "$project"/plugin/po/*.po; do
    msgfmt --output-file="$project/build/locale/$(basename "$catalogue" .po).mo" "$catalogue"
  done
}

# build_preset PROJECT PRESET [OPTION...]
#
# Configures with CMake's OPTIONs and builds a preset. Exits with status 1, after the compiler's words
# on standard error, when that fails.
build_preset() {
  local project=$1 preset=$2 words
  if ! words=$(cd "$project" && cmake --preset "$preset" "${@:3}" 2>&1 &&
    cmake --build --preset "$preset" 2>&1); then
    echo "$words" >&2
    echo "The module could not be built (preset $preset): see the messages above." >&2
    exit 1
  fi
}
