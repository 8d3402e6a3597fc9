# ----- The workspace, and what a removal would come to -----

# Finds the workspace and who gets it. "%u" in the data folder is the one user who has such a folder: with several, a
# person has to name one. Sets data and owner, or fails with a reason in problem.
find_workspace() {
  problem=
  case $data in
    *%u*)
      found=
      for folder in /Users/*/; do
        user=$(basename "$folder")
        candidate=${data%%\%u*}$user${data#*\%u}
        if [ -d "$candidate" ] && [ ! -L "$candidate" ] && { [ -z "$owner" ] || [ "$owner" = "$user" ]; }; then
          if [ -n "$found" ]; then
            problem="several users have a workspace: name one as the owner"
            return 1
          fi
          found=$candidate
        fi
      done
      if [ -z "$found" ]; then
        problem="no user has the workspace $data"
        return 1
      fi
      data=$found ;;
  esac
  if [ -z "$owner" ] && [ -d "$data" ]; then
    # shellcheck disable=SC2012 # stat has other options on each system; of one folder the third word is the owner
    owner=$(ls -ld -- "$data" | awk '{ print $3; exit }')
    if [ "$owner" = root ]; then
      owner=
      problem="the workspace $data belongs to root: name the user who is to have it"
      return 1
    fi
  fi
  case $owner in
    -* | *[!A-Za-z0-9._-]*)
      problem="the owner has a name with odd characters"
      return 1 ;;
  esac
  if [ -z "$owner" ] || ! id -u "$owner" >/dev/null 2>&1; then
    problem="it is not known who gets the workspace $data: name the owner"
    return 1
  fi
}

# Why the tool would fail now: the first line of a preview.
reason_of_preview() {
  env USER="$owner" "$inspect" preview -rcphome "$home" -rcpdata "$data" </dev/null 2>/dev/null | head -n 1
}
would_work() {
  env USER="$owner" "$inspect" preview -rcphome "$home" -rcpdata "$data" </dev/null >/dev/null 2>&1
}
