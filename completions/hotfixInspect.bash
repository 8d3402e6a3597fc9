# shellcheck shell=bash
# Completion of hotfixInspect for bash.

# The answers that begin as what is typed. Not by mapfile, which bash 3.2 of macOS does not have.
_hotfixInspect_words() {
  local word
  while IFS= read -r word; do COMPREPLY+=("$word"); done < <(compgen -W "$1" -- "$2")
}

_hotfixInspect() {
  COMPREPLY=()
  local current=${COMP_WORDS[COMP_CWORD]} words
  case ${COMP_WORDS[COMP_CWORD - 1]} in
    -rcphome | -rcpdata | --home) return ;;  # bash offers folders by itself
    --result)
      compopt +o dirnames 2>/dev/null
      _hotfixInspect_words "0 1 2 none" "$current"
      return ;;
  esac
  case ${COMP_WORDS[1]} in
    preview) words="-rcphome -rcpdata --result --json" ;;
    status) words="--all --home --json" ;;
    verify) words="--json" ;;
    *) words="preview status verify --help --version" ;;
  esac
  if [ "${COMP_WORDS[1]}" = verify ] && [ "${current:0:1}" != - ]; then
    compopt -o default 2>/dev/null
    return
  fi
  _hotfixInspect_words "$words" "$current"
}

complete -o dirnames -F _hotfixInspect hotfixInspect
