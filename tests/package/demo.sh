#!/usr/bin/env bash
# What ./demo installs and asks of CMake; no library is built. The only argument is the checkout.
set -eu
source_dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }

# Every library that a file format needs is in the packages that a build installs.
. "$source_dir/scripts/packages.sh"
wanted=$(sed -n 's/^velmo_file_library([A-Z0-9]* [^ ]* [^ ]* \([^ ]*\) .*/\1/p' "$source_dir/cmake/VelmoFileLibraries.cmake")
[ "$(wc -w <<<"$wanted")" -ge 4 ] || fail "found only these libraries of file formats: $wanted"
for package in $wanted; do
  grep -qw -- "$package" <<<"$(velmo_group build)" || fail "a build does not install $package"
done

# A tree that was configured before is configured again, as more libraries may be there.
mkdir -p "$work/scripts" "$work/bin" "$work/build/release/apps/velmoview"
cp "$source_dir/demo" "$work/demo"
touch "$work/build/release/build.ninja"
echo 'ensure_packages() { echo "$@" >>groups; }' >"$work/scripts/packages.sh"
printf '#!/bin/sh\necho "$@" >>"%s/called"\n' "$work" | tee "$work/bin/cmake" >"$work/bin/ninja"
cat >"$work/build/release/apps/velmoview/velmoview" <<'END'
#!/bin/sh
[ "$*" = "--demo list" ] && { echo "beam   a loaded beam"; exit; }
echo '{"cells": 7, "extract_ms": 1.5}' >out/beam.json
END
chmod +x "$work"/bin/* "$work/build/release/apps/velmoview/velmoview"
output=$(PATH="$work/bin:$PATH" "$work/demo") || fail "$output"
grep -q -- "--preset release" "$work/called" || fail "CMake did not run: $(cat "$work/called")"
grep -qx "build" "$work/groups" || fail "installed: $(cat "$work/groups")"
grep -q "^1 pictures, 0 failed" <<<"$output" || fail "$output"
