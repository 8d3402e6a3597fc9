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
  failed=1
}
