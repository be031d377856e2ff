#!/bin/bash
# Puts one breach of each kind into a small tree and expects the check to name them all, and nothing else.

set -euo pipefail
check=$(dirname "$(realpath "$0")")/check.sh
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
cd "$tree"
mkdir -p host platform/posix platform/common platform/windows base store transfer directory engine/posix \
  engine/windows server/files server/wire cli cli/posix cli/windows attic

# The contents of a file, and what is reported about it; "-" where it is allowed.
cases=(
  'host/a.h|#include <unistd.h>|-'
  'host/b.h|#include "platform/a.h"|host must not include platform'
  'platform/a.h|#include <unistd.h>|<unistd.h> belongs in: host platform/posix store engine/posix engine/postgres server cli/posix'
  'platform/e.h|#include "host/a.h"|platform must not include host'
  'platform/posix/a.h|#include <unistd.h>|-'
  'platform/posix/b.h|#include "host/a.h"|-'
  'platform/posix/c.h|#include "platform/a.h"|-'
  'platform/posix/d.h|#include "store/facts.h"|-'
  'platform/windows/a.h|#include <windows.h>|-'
  'platform/windows/b.h|#include "platform/common/a.h"|-'
  'platform/common/a.h|#include "platform/a.h"|-'
  'platform/common/b.h|#include "platform/windows/a.h"|platform/common must not include platform/windows'
  'base/g.h|#include <windows.h>|<windows.h> belongs in: platform/windows engine/windows cli/windows'
  'base/f.h|#include "platform/posix/a.h"|base must not include platform/posix'
  'server/a.h|#include "platform/posix/a.h"|server must not include platform/posix'
  'server/wire/a.h|#include "server/files/a.h"|-'
  'server/files/a.h|#include <unistd.h>|-'
  'server/files/b.h|#include "server/wire/a.h"|server/files must not include server/wire'
  'server/wire/b.h|#include "server/a.h"|server/wire must not include server'
  'base/e.h|#include "host/a.h"|base must not include host'
  'platform/b.h|#include "base/a.h"|platform must not include base'
  'store/facts.h|#include <string>|-'
  'store/a.h|#include "base/a.h"|-'
  'platform/c.h|#include "store/facts.h"|-'
  'platform/d.h|#include "store/a.h"|platform must not include store'
  'base/a.h|#include "platform/a.h"|-'
  'base/b.h|#include <sys/stat.h>|<sys/stat.h> belongs in: host platform/posix store engine/posix engine/postgres server cli/posix'
  'base/c.h|#include "a.h"|"a.h" is no header of the project; write it as "folder/name.h"'
  'base/d.h|#include "base/missing.h"|"base/missing.h" is no header of the project; write it as "folder/name.h"'
  'transfer/a.cpp|#include <zlib.h>|-'
  'directory/a.cpp|#include <zlib.h>|<zlib.h> belongs in: transfer'
  'directory/b.cpp|#include <sqlite3.h>|<sqlite3.h> belongs in: engine engine/posix engine/windows'
  'directory/c.cpp|  std::strcpy (a, b);|strcpy has no bounds or hides its failures'
  'directory/d.cpp|int n = atoi(text);|atoi has no bounds or hides its failures'
  'directory/e.cpp|// strcpy(a, b) would not do.|-'
  'directory/f.cpp|snprintf(a, 3, "%d", 1);|-'
  'directory/g.cpp|#include <string>|-'
  'cli/a.cpp|#include <tvlclient/tvlclient.h>|-'
  'cli/b.cpp|#include "base/a.h"|cli must not include base'
  'cli/c.cpp|#include "host/a.h"|cli must not include host'
  'cli/posix/a.cpp|#include "host/a.h"|-'
  'cli/windows/a.cpp|#include "host/a.h"|cli/windows must not include host'
  'engine/b.cpp|#include "host/a.h"|engine must not include host'
  'engine/d.cpp|#include <sqlite3.h>|-'
  'engine/e.cpp|#include <fcntl.h>|<fcntl.h> belongs in: host platform/posix store engine/posix engine/postgres server cli/posix cli/windows'
  'engine/posix/a.cpp|#include "host/a.h"|-'
  'engine/windows/a.cpp|#include "platform/windows/a.h"|-'
  'engine/c.cpp|#include "platform/a.h"|engine must not include platform'
  'engine/a.cpp|#include "directory/a.h"|"directory/a.h" is no header of the project; write it as "folder/name.h"'
)

for row in "${cases[@]}"; do
  IFS='|' read -r file text message <<<"$row"
  printf '%s\n' "$text" >"$file"
  [ "$message" = - ] || printf '%s:1: %s\n' "$file" "$message"
done >expected.txt
echo 'attic:0: has no place in the house' >>expected.txt

if "$check" "$tree" >found.txt; then
  echo "the check passed a tree with breaches" >&2
  exit 1
fi
diff -u <(LC_ALL=C sort expected.txt) <(LC_ALL=C sort found.txt)

find . -mindepth 1 ! -name host ! -path ./host/a.h -delete
"$check" "$tree"
