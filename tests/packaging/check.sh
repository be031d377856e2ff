#!/bin/bash
# Usage: check.sh TVLSERVER UNIT...
# systemd's own verification of the units, with the program that was built, and how much of the system they leave
# exposed. Exit 77 where systemd-analyze cannot do that.

set -euo pipefail
most_exposed=20  # tenths: the limit of what systemd calls OK is 50

skip() {
  echo "skipped: $*"
  exit 77
}

command -v systemd-analyze >/dev/null || skip "needs systemd-analyze"
systemd-analyze security --help 2>&1 | grep -q -- --offline || skip "this systemd-analyze has no --offline"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "${@:2}" "$scratch"
sed -i "s:^ExecStart=[^ ]*:ExecStart=$1:" "$scratch/tvlserver.service"

# Warnings do not change its exit status.
findings=$(systemd-analyze verify --man=no "$scratch"/tvlserver*.{service,socket} 2>&1) || true
[ -z "$findings" ] || {
  echo "$findings" >&2
  exit 1
}
exposure=(systemd-analyze security --offline=true --no-pager "--threshold=$most_exposed" "$scratch/tvlserver.service")
"${exposure[@]}" >"$scratch/exposure" || {
  cat "$scratch/exposure" >&2
  exit 1
}
