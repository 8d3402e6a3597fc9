# Munki asks whether an installation is needed: 0 is yes. Nobody installs the hotfix by this item, which only removes.
exit 1
