# shellcheck shell=bash
# Shared by the scripts: the path of the tree, installing packages, building. For bash.

# shellcheck disable=SC2034 # used by the scripts
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)

# All Debian packages that the scripts need, grouped by purpose. They are named only here.
packages_libraries="libxml2-dev libutf8proc-dev"
packages_build="g++ cmake ninja-build pkg-config $packages_libraries googletest nlohmann-json3-dev"
packages_package="dpkg-dev file"
packages_tests="dash mandoc zsh fish lintian python3 python3-jsonschema ruby strace $packages_package"
packages_32_bit="g++-multilib"
packages_macos="clang-14 lld-14 llvm-14 libc++-14-dev libc++abi-14-dev binutils"
packages_npm="npm"
packages_fuzz="clang-14 libclang-rt-14-dev"
packages_checks="git clang-format clang-tidy cppcheck shellcheck"
packages_bench="libbenchmark-dev libplist-utils xmlstarlet libxml2-utils rsync lsof procps openjdk-17-jdk-headless python3"
packages_fresh_machine="debootstrap"
packages_trace="strace"
packages_memcheck="valgrind libc6-dbg"
packages_fleet="ansible sudo procps python3 util-linux time"
packages_browser="chromium-headless-shell fonts-dejavu-core"
packages_ansible_checks="ansible ansible-lint yamllint python3-yaml"

fail() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# Runs a command and shows its output only if it fails.
quietly() {
  local output status=0
  output=$("$@" 2>&1 </dev/null) || status=$?
  if [ "$status" != 0 ]; then
    printf '%s\n' "$output" >&2
    fail "failed with status $status: $*"
  fi
}

# Runs a command as root.
as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo -n "$@"; fi
}

# Installs those of the named packages that are missing. Does nothing, and needs no network, if none is missing.
install_packages() {
  local package missing=()
  for package in "$@"; do
    if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
      missing+=("$package")
    fi
  done
  if [ ${#missing[@]} = 0 ]; then return; fi

  if ! command -v apt-get >/dev/null; then fail "please install (Debian names): ${missing[*]}"; fi
  if ! as_root true 2>/dev/null; then
    fail "run this as root or with sudo, or install first: apt-get install ${missing[*]}"
  fi
  echo "Installing ${missing[*]} ..."
  # An unreachable package source matters only if a package is not found.
  as_root apt-get -qq update >/dev/null 2>&1 </dev/null || true
  quietly as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -qq -y -o DPkg::Lock::Timeout=300 --no-install-recommends install "${missing[@]}"
}

# The same for npm, which may be installed from another source, with a runtime that is incompatible with Debian's npm.
install_npm() {
  # shellcheck disable=SC2086 # list of words
  command -v npm >/dev/null || install_packages $packages_npm
}

# Reads the output of Ninja or CTest and shows the progress: a counter at a terminal, otherwise a line at intervals. All
# other lines, and failed tests, go to descriptor 3.
progress_interval=30 # seconds
show_progress() {
  local line step shown=$SECONDS
  while IFS= read -r line || [ -n "$line" ]; do
    if [[ $line =~ ^step\ ([0-9]+/[0-9]+): || $line =~ ^\ *([0-9]+/[0-9]+)\ Test\ +# ]]; then
      step=${BASH_REMATCH[1]}
      if [[ $line = *'***'* && $line != *'***Skipped'* ]]; then
        printf '%s\n' "$line" >&3
      elif [ -t 1 ]; then
        printf '\r%s ' "$step"
      elif [ $((SECONDS - shown)) -ge "$progress_interval" ]; then
        shown=$SECONDS
        echo "$step"
      fi
    elif ! [[ $line =~ ^\ *Start\ +[0-9]+: ]]; then
      printf '%s\n' "$line" >&3
    fi
  done
  if [ -n "${step-}" ] && [ -t 1 ]; then printf '\r\e[K'; fi
}

# Configures a preset and builds it, or only the named targets of it. Shows the output of the compilers if the build fails.
build() {
  local preset=$1 targets=() log
  shift
  if [ $# -gt 0 ]; then targets=(--target "$@"); fi
  echo "Building build/$preset (the first time takes some minutes) ..."
  cd "$top" || return
  quietly cmake --preset "$preset"
  log=$(mktemp)
  if ! NINJA_STATUS='step %f/%t: ' cmake --build --preset "$preset" ${targets[@]+"${targets[@]}"} </dev/null 2>&1 |
    show_progress 3>"$log"; then
    cat "$log" >&2
    rm -f "$log"
    fail "the build failed: $preset"
  fi
  rm -f "$log"
}

# Runs the tests of a preset; further arguments are CTest's options. Shows failures and CTest's summary.
run_tests() {
  local preset=$1
  shift
  echo "Running the tests of build/$preset ..."
  ctest --preset "$preset" "$@" </dev/null 2>&1 | show_progress 3>&1
}
