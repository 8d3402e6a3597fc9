# Completion of hotfixUninstall for fish. A folder follows each option.

function __hotfixUninstall_wants_folder
    contains -- (commandline -opc)[-1] -rcphome -rcpdata
end

# Of an option that is given twice the first counts.
function __hotfixUninstall_lacks
    not __hotfixUninstall_wants_folder
    and not contains -- $argv[1] (commandline -opc)
end

complete -c hotfixUninstall -f
complete -c hotfixUninstall -n __hotfixUninstall_wants_folder -a '(__fish_complete_directories (commandline -ct) "")'
complete -c hotfixUninstall -n '__hotfixUninstall_lacks -rcphome' -a -rcphome \
    -d 'home folder of the instance, or with no -rcpdata the folder around it'
complete -c hotfixUninstall -n '__hotfixUninstall_lacks -rcpdata' -a -rcpdata -d 'data folder of the instance'
