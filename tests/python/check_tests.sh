#!/bin/bash
# Usage: check_tests.sh PACKAGE PYTHON
# Builds the wheel and runs the tests of the package with it. Exit code 77, for a skipped test, if Python is too old or
# has no setuptools.

set -euo pipefail
package=$1 python=$2
"$python" -c 'import sys, setuptools.build_meta, wheel; sys.exit(sys.version_info < (3, 11))' 2>/dev/null || {
  echo "Python 3.11 with setuptools and wheel is not installed"
  exit 77
}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp -r "$package/." "$scratch"
cd "$scratch"
"$python" -c 'from setuptools import build_meta; build_meta.build_wheel("wheel")' >build.log 2>&1 || {
  cat build.log
  exit 1
}
rm -r tavolis
mkdir installed
"$python" -m zipfile -e wheel/tvlclient-*.whl installed
[ -e installed/tavolis/py.typed ]
PYTHONPATH=$scratch/installed "$python" -W error tests/test_tavolis.py
