#!/usr/bin/env bash
# scripts/compare refuses bad options with its usage and 2, before it installs or builds anything.
set -u
status=0
for options in "--bogus" "--only" "--runs 0" "--runs 1e3" "--quick extra"; do
  # shellcheck disable=SC2086  # several words
  text=$(scripts/compare $options 2>&1 >/dev/null)
  code=$?
  if [ "$code" != 2 ] || [[ "$text" != *usage:* ]]; then
    echo "'$options' ended with $code: $text"
    status=1
  fi
done
exit "$status"
