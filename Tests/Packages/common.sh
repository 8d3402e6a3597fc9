# shellcheck shell=bash
# Shared by these tests. To be sourced by bash.

skip() {
  echo "Skipped: $*"
  exit 77
}

if [ -n "${NOT_PACKAGED-}" ]; then skip "$NOT_PACKAGED"; fi
if ! command -v dpkg-shlibdeps >/dev/null; then
  skip "this machine makes no Debian packages: it has no dpkg-shlibdeps"
fi

failed=0
complain() {
  printf '%s\n' "$*"
  # shellcheck disable=SC2034 # the scripts that read this end with it
  failed=1
}
