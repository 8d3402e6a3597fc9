# ----- The removal -----

tool=$programs/hotfixUninstall
keep=$state_folder/before.json

# One removal at a time, whichever engine started it. A lock whose owner has died is taken over.
lock() {
  (umask 077 && mkdir -p "$state_folder") || return 1
  # shellcheck disable=SC2012 # as above
  if [ -L "$state_folder" ] || [ "$(ls -ldn "$state_folder" | awk '{ print $3; exit }')" != "$(id -u)" ]; then
    problem="$state_folder is not a folder of root"
    return 1
  fi
  if ! mkdir "$state_folder/lock" 2>/dev/null; then
    holder=$(cat "$state_folder/lock/pid" 2>/dev/null)
    if [ -n "$holder" ] && kill -0 "$holder" 2>/dev/null; then
      problem="another removal runs: process $holder"
      return 1
    fi
    rm -f "$state_folder/lock/pid"
  fi
  echo $$ >"$state_folder/lock/pid"
  trap 'rm -rf "$state_folder/lock"' EXIT
}

# What the instance was like, written at once or not at all. An older one has more records, so it is kept.
keep_before() {
  if [ "$1" != fresh ] && [ -e "$keep" ]; then return; fi
  "$inspect" status "$home" "$data" --json </dev/null >"$keep.new" 2>/dev/null
  mv -f "$keep.new" "$keep"
}

# Starts the tool with the right user. A signal of the engine goes on to it: the tool tells then how far it came.
uninstall() {
  env -i PATH="$PATH" LC_ALL=C USER="$owner" LOGNAME="$owner" HOME="$(eval "echo ~$owner")" \
    "$tool" -rcphome "$home" -rcpdata "$data" </dev/null >"$state_folder/output" 2>&1 &
  child=$!
  trap 'kill -TERM "$child"' TERM INT HUP
  wait "$child"
  status=$?
  # A signal ends the waiting, not the tool.
  while kill -0 "$child" 2>/dev/null; do
    wait "$child"
    status=$?
  done
  trap - TERM INT HUP
  return "$status"
}

# Whether the removal is there, by comparison with what was kept.
verified() {
  "$inspect" verify "$keep" </dev/null >"$state_folder/verify" 2>/dev/null
  case $? in
    0 | 4) mv -f "$keep" "$state_folder/removed.json" ;;
    *)
      problem="the removal was not verified: $(sed -n 's/^  no  *//p' "$state_folder/verify" | head -n 1)"
      return 1 ;;
  esac
}

# Whether a program of the instance runs.
runs() {
  env USER="$owner" "$inspect" status "$home" "$data" --json </dev/null 2>/dev/null | tr -d ' \n' |
    grep -q '"processes":\[{'
}

# Removes the hotfix and verifies it: 0 when it is gone, also when it was gone before; else 1 with a reason in problem.
remove_hotfix() {
  problem=
  now=$(state)
  case $now in
    none | removed | no-instance)
      if [ "$now" != no-instance ] && [ -e "$keep" ] && find_workspace; then
        lock && verified && say "An earlier run removed the hotfix and was ended before it could tell"
        return
      fi
      say "There is no hotfix to remove: $now"
      return 0 ;;
    removable | failed | interrupted) ;;
    inconsistent)
      problem="the state of the instance needs a person: $("$inspect" status "$home" </dev/null 2>/dev/null |
        sed -n '2s/^ *//p')"
      return 1 ;;
    *)
      problem=$now
      return 1 ;;
  esac
  find_workspace && lock || return 1
  if [ "$now" = removable ]; then
    if ! would_work; then
      problem=$(reason_of_preview)
      return 1
    fi
    keep_before fresh
  else
    if [ "$leave_failed" != yes ]; then
      problem="an earlier removal $(echo "$now" | sed 's/^i/was i/'): see $state_folder/output"
      return 1
    fi
    if runs; then
      problem="the platform is running"
      return 1
    fi
    keep_before
    if ! cp -- "$home/deploy/install.update.xml" "$home/deploy/uninstall.hotfix.xml"; then
      problem="the manifest cannot be put back"
      return 1
    fi
  fi
  if ! uninstall; then
    problem=$(grep 'The hotfix was not removed' "$state_folder/output" | head -n 1)
    problem=${problem:-the tool failed, see $state_folder/output}
    return 1
  fi
  now=$(state)
  if [ "$now" != removed ] && [ "$now" != none ]; then
    problem="the state after the removal is $now"
    return 1
  fi
  verified && say "The hotfix was removed, and that was verified"
}
