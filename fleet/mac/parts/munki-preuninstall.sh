# Munki goes on with the removal when this ends with 0. What cannot work is not begun.
now=$(state)
case $now in
  unknown*)
    say "$now"
    exit 1 ;;
esac
if ! find_workspace; then
  say "$problem"
  exit 1
fi
if [ "$now" = removable ] && ! would_work; then
  say "$(reason_of_preview)"
  exit 1
fi
exit 0
