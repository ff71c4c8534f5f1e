# shellcheck shell=bash
# Debian packages by name, for scripts that source this file.

# What driving the page in a browser, and making and comparing pictures there, needs. The font is the
# one that the page asks for first: pictures and texts are as wide everywhere.
# shellcheck disable=SC2034  # those scripts use it
browser_packages=(chromium chromium-driver python3-selenium python3-aiohttp python3-pil
  fonts-open-sans)

# need_packages PACKAGE...
#
# Makes sure that the named Debian packages are installed. Missing ones are installed with
# apt-get, as root or through sudo, after saying so on standard error; nothing is written to
# standard output. Package lists are fetched only when the installation fails without them.
# Exits with status 2, after one sentence that names the packages, when it cannot.
need_packages() {
  local package log
  local -a missing=() as_root=()
  local -A installed=()
  while read -r package; do
    installed[$package]=yes
  done < <(dpkg-query --show --showformat '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null |
    sed -n 's/^installed //p')
  for package in "$@"; do
    [[ -n ${installed[$package]:-} ]] || missing+=("$package")
  done
  if ((${#missing[@]} == 0)); then
    return
  fi

  if ! command -v apt-get >/dev/null; then
    packages_refuse "this system has no apt-get" "${missing[@]}"
  fi
  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      packages_refuse "this user is not root and there is no sudo" "${missing[@]}"
    fi
    # Without a terminal sudo must not ask for a password.
    if [[ ! -t 0 ]] && ! sudo -n true 2>/dev/null; then
      packages_refuse "sudo asks for a password and there is no terminal" "${missing[@]}"
    fi
    as_root=(sudo)
  fi

  echo "Installing Debian packages: ${missing[*]}" >&2
  log=$(mktemp)
  if ! packages_apt "$log" install "${missing[@]}"; then
    echo "Fetching the package lists" >&2
    # An update that fails for one source may still bring what is needed.
    packages_apt "$log" update || true
    if ! packages_apt "$log" install "${missing[@]}"; then
      cat "$log" >&2
      rm -f "$log"
      packages_refuse "apt-get failed (see above)" "${missing[@]}"
    fi
  fi
  rm -f "$log"
}

# packages_apt LOG COMMAND [ARG...]
# Runs apt-get with its output in the file LOG; waits up to ten minutes for another run's lock.
# Reads the caller's array as_root.
packages_apt() {
  local log=$1 attempt
  shift
  # DPkg::Lock::Timeout does not cover the lock of the package lists.
  for ((attempt = 1; attempt <= 60; attempt++)); do
    if "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C apt-get --yes --quiet \
      --no-install-recommends -o DPkg::Lock::Timeout=600 "$@" >"$log" 2>&1 </dev/null; then
      return 0
    fi
    grep -q 'Could not get lock' "$log" || return 1
    sleep 10
  done
  return 1
}

# packages_refuse REASON PACKAGE...
packages_refuse() {
  local reason=$1
  shift
  echo "Packages are missing and $reason: please run 'apt-get install $*' as root." >&2
  exit 2
}
