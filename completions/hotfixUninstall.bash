# shellcheck shell=bash
# Completion of hotfixUninstall for bash. A folder follows each option.

_hotfixUninstall() {
  COMPREPLY=()
  # With no answers, bash offers folders by itself (see below), and quotes them as they need.
  case ${COMP_WORDS[COMP_CWORD - 1]} in -rcphome | -rcpdata) return ;; esac
  compopt +o dirnames 2>/dev/null  # bash 3.2 cannot: it offers folders where nothing fits

  local option index
  for option in -rcphome -rcpdata; do
    # Of an option that is given twice the first counts.
    for ((index = 1; index < ${#COMP_WORDS[@]}; ++index)); do
      if [ "$index" != "$COMP_CWORD" ] && [ "${COMP_WORDS[index]}" = "$option" ]; then continue 2; fi
    done
    case $option in "${COMP_WORDS[COMP_CWORD]}"*) COMPREPLY+=("$option") ;; esac
  done
}

complete -o dirnames -F _hotfixUninstall hotfixUninstall
