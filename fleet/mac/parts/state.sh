# ----- The state -----
# Engines give neither USER nor a useful PATH nor a terminal, and some choke on bytes that are no ASCII.

PATH=/usr/bin:/bin:/usr/sbin:/sbin
LC_ALL=C
export PATH LC_ALL
inspect=$programs/hotfixInspect

# One line for the engine's log, in plain ASCII.
say() { printf '%s\n' "$*" | tr -c '\12\40-\176' '?'; }

# The word for the state of the instance; "unknown: REASON" when it cannot be told.
state() {
  if [ ! -d "$home" ]; then
    echo no-instance
    return
  fi
  if [ ! -x "$inspect" ]; then
    echo "unknown: $inspect is not installed"
    return
  fi
  "$inspect" status "$home" </dev/null >/dev/null 2>&1
  case $? in
    10) echo none ;;
    11) echo removable ;;
    12) echo removed ;;
    13) echo failed ;;
    14) echo interrupted ;;
    15) echo inconsistent ;;
    16) echo no-instance ;;
    *) echo "unknown: hotfixInspect failed" ;;
  esac
}
