# Completion of hotfixInspect for fish.

function __hotfixInspect_after
    contains -- (commandline -opc)[-1] $argv
end

# The verb is given, and no option waits for its value.
function __hotfixInspect_verb
    set -l words (commandline -opc)
    test (count $words) -gt 1; and test $words[2] = $argv[1]
    and not __hotfixInspect_after -rcphome -rcpdata --home --result
end

complete -c hotfixInspect -f
complete -c hotfixInspect -n 'test (count (commandline -opc)) = 1' -a preview -d 'what hotfixUninstall would do'
complete -c hotfixInspect -n 'test (count (commandline -opc)) = 1' -a status -d 'the state of an instance'
complete -c hotfixInspect -n 'test (count (commandline -opc)) = 1' -a verify -d 'whether a removal worked'
complete -c hotfixInspect -n 'test (count (commandline -opc)) = 1' -a '--help --version'
complete -c hotfixInspect -n '__hotfixInspect_after -rcphome -rcpdata --home' \
    -a '(__fish_complete_directories (commandline -ct) "")'
complete -c hotfixInspect -n '__hotfixInspect_after --result' -a '0 1 2 none'
complete -c hotfixInspect -n '__hotfixInspect_verb preview' -a '-rcphome -rcpdata --result --json'
complete -c hotfixInspect -n '__hotfixInspect_verb status' -a '--all --home --json (__fish_complete_directories (commandline -ct) "")'
complete -c hotfixInspect -n '__hotfixInspect_verb verify' -F -a '--json'
