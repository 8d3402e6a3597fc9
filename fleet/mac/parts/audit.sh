# An audit: 0 is "all is well", anything else has the engine enforce the removal. The reverse of Munki's check.
case $(state) in
  none | removed | no-instance) exit 0 ;;
  *)
    say "$(state)"
    exit 1 ;;
esac
