# Shared by demo.sh, test.sh and check.sh: packages, messages, builds. To be sourced.

packages_build="g++ cmake ninja-build git ca-certificates"
packages_libraries="libboost-dev libcpp-httplib-dev libpugixml-dev libzip-dev libspdlog-dev libfmt-dev libcli11-dev nlohmann-json3-dev libopenipmi-dev libmnl-dev"
packages_peers="openipmi openssh-client openssl libwrap0 iproute2 libcurl4 uidmap"
packages_tests="curl netbase sblim-wbemcli googletest python3 python3-pyftpdlib zip unzip"
packages_machine="qemu-system-x86"
packages_windows="g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine64 wine64-tools libwine-dev"
packages_package="dpkg-dev file pkgconf unzip"
packages_checks="clang-format clang libclang-rt-14-dev clang-tidy cppcheck doxygen gcovr"

say() { printf '\n== %s\n' "$*"; }
fail() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit "${status:-1}"; }

# install_packages NAME...: installs what is missing; exits with 2 where that is not possible.
install_packages() {
  local missing=() name
  for name in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Abbrev}' "$name" 2>/dev/null)" = "ii " ] || missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing ${missing[*]}"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || status=2 fail "needs root or sudo to install: ${missing[*]}"
    as_root=(sudo)
  fi
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q)
  "${apt[@]}" update >/dev/null || status=2 fail "apt-get update failed; needed: ${missing[*]}"
  "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >/dev/null ||
    status=2 fail "could not install: ${missing[*]}"
}

# configure PRESET: says something only when it fails.
configure() {
  local preset=$1 log
  log=$(mktemp)
  if ! cmake --preset "$preset" "${configure_options[@]}" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    fail "configuring $preset failed"
  fi
  rm -f "$log"
}

# build PRESET [cmake --build arguments]: configures and builds with the machine's cores, two at most.
build() {
  local preset=$1
  shift
  say "Building $preset"
  configure "$preset"
  cmake --build "build/$preset" -j2 "$@" || fail "building $preset failed"
}
configure_options=()
