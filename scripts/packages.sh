# Sourced by demo, check and scripts/compare: makes sure that Debian packages are there.
#
#   ensure_packages GROUP...    groups: build, test, compare
#
# Installs what is missing (as root or through a password-less sudo); otherwise prints the command to
# run and returns 1. Needs nothing but bash and dpkg.

velmo_group() {
  case "$1" in
    build) echo "g++ cmake ninja-build libcoin-dev libgl-dev libopengl-dev libegl-dev libpng-dev libtbb-dev
                 libexpat1-dev zlib1g-dev libdeflate-dev liblz4-dev liblzma-dev libnetcdf-dev nlohmann-json3-dev
                 pkg-config libegl1 libegl-mesa0 libgl1-mesa-dri libfreetype6 libfontconfig1 fonts-dejavu-core" ;;
    test) echo "libgtest-dev libgmock-dev python3-minimal clang-format-14" ;;
    fuzz) echo "clang-14 libclang-rt-14-dev" ;;
    compare) echo "libvtk9-dev" ;;
    *) echo "velmo_group: no group '$1'" >&2; return 1 ;;
  esac
}

ensure_packages() {
  local group package missing="" command
  for group in "$@"; do
    for package in $(velmo_group "$group"); do
      dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
        missing="$missing $package"
    done
  done
  [ -n "$missing" ] || return 0

  command="apt-get install -y --no-install-recommends$missing"
  local as_root=""
  if [ "$(id -u)" != 0 ]; then
    if command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
      as_root="sudo -n"
    else
      echo "These Debian packages are missing and only root may install them. Run:" >&2
      echo "  sudo apt-get update && sudo $command" >&2
      return 1
    fi
  fi
  echo "Installing:$missing"
  export DEBIAN_FRONTEND=noninteractive
  # An old or empty package list is the usual reason for a failure, so it is renewed first.
  if ! { $as_root apt-get -qq update && $as_root $command >/dev/null; }; then
    echo "The installation failed. To see why, run:" >&2
    echo "  apt-get update && $command" >&2
    return 1
  fi
}
