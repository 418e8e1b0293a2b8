#!/bin/bash
# Stands in for a command of the device in the demo, and writes down how it was run.
case "${0##*/} $*" in
  *nc.send_message) consumer="1 notification centre" ;;
  *add_local_event_log*) consumer="3 log centre" ;;
  'notify send2'*) consumer="7 notification command" ;;
  *) consumer="6 recorder" ;;
esac
{
  printf '%s\n' "$0"
  printf '    %s\n' "$@"
  [[ $consumer != 1* ]] || printf '    on standard input: %s\n' "$(cat)"
} >"$DEMO_RECEIVED/.$consumer"
mv "$DEMO_RECEIVED/.$consumer" "$DEMO_RECEIVED/$consumer"
