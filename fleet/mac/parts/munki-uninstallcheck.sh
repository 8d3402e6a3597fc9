# Munki asks whether a removal is needed: 0 is yes. It takes any other status for "there is nothing to do", an error too;
# so what is wrong is answered with yes, and told by the removal.
now=$(state)
case $now in
  removable | failed | interrupted | inconsistent) exit 0 ;;
  unknown*)
    say "$now"
    exit 0 ;;
  *) exit 1 ;;
esac
