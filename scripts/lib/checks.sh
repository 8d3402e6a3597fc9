# shellcheck shell=bash
# The checks of sources, for scripts/check and .ci/run. Source it after common.sh, with the tree as working folder. Checks
# that need names of files read them from standard input, one per line, and pass if there are none.

all_files() {
  find . \( -name build -o -name node_modules -o -name .git \) -prune -o -type f -printf '%P\n' | sort
}

# The files that differ, committed or not, from main as it was last fetched or pushed; without such a branch, from the last
# commit.
changed_files() {
  local start base=HEAD
  for start in 'main@{upstream}' main; do
    if base=$(git merge-base HEAD "$start" 2>/dev/null); then break; fi
    base=HEAD
  done
  { git diff --name-only --diff-filter=d "$base" && git ls-files --others --exclude-standard; } | sort -u
}

cpp_among() { grep -E '\.(cpp|h|c)$' || true; }
scripts_among() {
  xargs -r -d '\n' awk 'FNR == 1 { if (/^#!.*[\/ ](ba)?sh$/ || FILENAME ~ /\.(ba)?sh$/) print FILENAME; nextfile }'
}

check_format() { cpp_among | xargs -r -d '\n' clang-format --dry-run -Werror; }
check_scripts() { scripts_among | xargs -r -d '\n' shellcheck -x; }

# ----- clang-tidy -----

# Configures the build folder $1 for clang-tidy; further arguments are CMake's. There are no precompiled headers, because
# clang cannot read those of another compiler.
configure_for_tidy() { (quietly cmake --preset release -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -B "$@"); }

# The same with several sources joined to one. Shared headers are then read only once, which takes a third of the time.
# The analyser checks included sources only if the name of the including one begins with "UnifiedSource".
configure_joined_for_tidy() {
  local folder=$1 file
  configure_for_tidy "$folder" -DCMAKE_UNITY_BUILD=ON || return
  find "$folder" -name 'unity_*_cxx.cxx' | while read -r file; do
    mv "$file" "$(sed -E 's/unity_([0-9]+)_cxx\.cxx$/UnifiedSource\1.cxx/' <<<"$file")"
  done
  sed -i -E 's/unity_([0-9]+)_cxx\.cxx\b/UnifiedSource\1.cxx/g' "$folder/compile_commands.json"
}

# The joined sources of the build folder $1 whose paths below it match $2, and those that are alone.
joined_sources_of() {
  # shellcheck disable=SC2154 # from common.sh
  sed -n 's/^ *"file": "\(.*\)",*$/\1/p' "$1/compile_commands.json" | grep "^$top/\($1/$2.*\.cxx\|$2.*\.cpp\)$" | sort -u
}

# The full paths of the sources that the build folder $1 compiles and whose paths in the tree match $2.
sources_of() {
  # shellcheck disable=SC2154 # from common.sh
  sed -n 's/^ *"file": "\(.*\)",*$/\1/p' "$1/compile_commands.json" | grep "^$top/$2.*\.cpp$" | sort -u
}

# Of the sources on standard input, those that are listed in the file $1 (names of files in the tree) or include a header
# that is listed there.
concerned_by() {
  local source names
  names=$(sed 's,^.*\.h$,#include "&",' "$1")
  while read -r source; do
    if grep -qxF -- "${source#"$top"/}" <<<"$names" || grep -qxFf <(grep '^#' <<<"$names") "$source"; then
      echo "$source"
    fi
  done
}

# A pattern, for CTest's -R, of the tests that belong to the files named in $1: the tests in a source that is one of them
# or includes one, the tests in the test source named after such a source, and the tests of scripts, documents and packages.
tests_of() {
  local source suites
  suites=$(
    find "$top"/{MacInstaller,Platform,Support,Tests} -name '*.cpp' | concerned_by "$1" | while read -r source; do
      case $source in
        *Test.cpp) echo "$source" ;;
        *) find "$top/Tests" -name "$(basename "$source" .cpp)Test.cpp" ;;
      esac
    done | sort -u | xargs -r -d '\n' sed -nE 's/^TEST(_F|_P)?\((\w+),.*/\2/p'
    sed -nE -e 's,^(scripts|\.ci|\.devcontainer)/.*,Scripts,p' -e 's,^docs/.*\.md$,Documents\nManualPages,p' \
      -e 's,.*\.md$,Documents,p' -e 's,^docs/man/.*,ManualPages,p' \
      -e 's,^MacInstaller/hotifxUninstallLibrary\.h$,ManualPages,p' \
      -e 's,^completions/.*,Completions,p' -e 's,^fuzz/.*,Fuzz,p' -e 's,^examples/.*,Installed,p' \
      -e 's,^Tests/([A-Z]\w+)/[a-z-]*$,\1,p' "$1"
    if grep -qE '^(cmake/|CMakeLists\.txt)' "$1"; then printf '%s\n' Installed Packages; fi
  )
  sort -u <<<"$suites" | paste -sd '|' | sed 's/.*/(^|\/)(&)\\./'
}

# One process per file, because the analyser confuses the variable arguments of a file with those of the previous one.
tidy() {
  local folder=$1
  shift
  xargs -r -d '\n' -n 1 -P "$(nproc)" clang-tidy --quiet -p "$folder" "$@" 2> >(grep -v ' warnings\? generated\.$' >&2)
}

# ----- Several checks, one after the other -----

summary=()
failures=()

# Runs a check under a headline. A failure is stored for finish and does not stop the other checks.
stage() {
  local headline=$1 start=$SECONDS outcome=passed
  shift
  printf '\n===== %s =====\n\n' "$headline"
  "$@" || outcome=FAILED
  if [ "$outcome" = FAILED ]; then failures+=("$headline"); fi
  summary+=("$(printf '%-36s %-6s %4d s' "$headline" "$outcome" $((SECONDS - start)))")
  printf '\n%s\n' "${summary[-1]}"
}

# Prints the outcome of each stage and exits. The last line names the failed stages.
finish() {
  local all=passed
  if [ ${#failures[@]} != 0 ]; then all=FAILED; fi
  printf '\n===== Summary =====\n\n'
  printf '%s\n' "${summary[@]}"
  printf '%-36s %-6s %4d s\n' "All" "$all" "$SECONDS"
  if [ "$all" = passed ]; then exit 0; fi
  printf '\nFailed: %s\n' "$(printf '%s, ' "${failures[@]}" | sed 's/, $//')"
  exit 1
}
