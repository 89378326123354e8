# Shared by scripts/demo and scripts/test: installs the Debian packages given
# as arguments that are not installed yet (apt-get update once, only when
# something is missing).
ensure_packages() {
  missing=""
  for package in "$@"; do
    if ! dpkg -s "$package" 2>/dev/null | grep -q '^Status: install ok installed'; then
      missing="$missing $package"
    fi
  done
  [ -z "$missing" ] && return 0
  echo "Installing missing packages:$missing"
  if [ "$(id -u)" -eq 0 ]; then
    sudo_prefix=""
  elif command -v sudo >/dev/null 2>&1; then
    sudo_prefix="sudo"
  else
    echo "Missing packages:$missing (run as root or install them first)" >&2
    return 1
  fi
  export DEBIAN_FRONTEND=noninteractive
  $sudo_prefix apt-get update
  # shellcheck disable=SC2086
  $sudo_prefix apt-get install -y $missing
}

# Packages needed to build the library, its tool and its tests.
BUILD_PACKAGES="cmake g++ make pkg-config zlib1g-dev libfribidi-dev libharfbuzz-dev libjansson-dev libutf8proc-dev libfontconfig-dev libxml2-dev googletest libgtest-dev poppler-data qpdf poppler-utils"
