# Munki takes 0 for success and asks uninstallcheck_script again at its next run: it must be no there then. With any other
# status the removal stays on the list, and the output goes to the report.
if remove_hotfix; then exit 0; fi
say "$problem"
exit 1
