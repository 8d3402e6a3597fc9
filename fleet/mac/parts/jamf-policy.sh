# Jamf Pro gives the mount point, the name of the computer and a user name first, then the policy's own parameters:
#   4 home folder   5 data folder   6 owner of the workspace   7 "yes" to lead out of a failed removal
# An empty one leaves what is set above. Any status but 0 marks the policy as failed.
if [ $# -ge 3 ]; then shift 3; else set --; fi
home=${1:-$home}
data=${2:-$data}
owner=${3:-$owner}
leave_failed=${4:-$leave_failed}
if remove_hotfix; then exit 0; fi
say "$problem"
exit 1
