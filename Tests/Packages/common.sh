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

# Puts what installed-in-root takes into the folder $3: the packages in the folder $2, and files of the source folder $1.
# In $3/added is a tree to lay over a root.
gather() {
  local package
  cp -R -- "$1/Tests/Packages/installed-in-root" "$1/Tests/Installed/tried-in-root" "$1/demo/instance" "$3/"
  "$1/Tests/Installed/link-line" "$1" >"$3/link-line"
  for package in hotfixuninstall libhotfixuninstall-dev hotfixuninstall-fleet; do cp -- "$2/$package"_*.deb "$3/$package.deb"; done
  # The package tool of macOS. What it was told is looked at by tried-in-root.
  mkdir -p "$3/added/usr/sbin"
  # shellcheck disable=SC2016 # for the script to expand
  printf '#!/bin/sh\necho "$*" >>/tmp/receipts\n' >"$3/added/usr/sbin/pkgutil"
  chmod 755 "$3/added/usr/sbin/pkgutil"
}
