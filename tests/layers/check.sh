#!/bin/bash
# Usage: check.sh SRC
# Checks the rules of the house below the folder SRC: who includes whom, which folders may use which libraries, and
# that no function without bounds is called. One line a breach; fails if there is one.

set -euo pipefail
cd "$1"

# From the ground up: a folder includes itself and those listed before it.
layers=(platform base record store config transfer client table presence directory tcp frontend)
# The programs, the module and the implementations of the platform, and what each may include of the library.
declare -A reaches=(
  [host]=""
  [platform/common]="platform"
  [platform/posix]="host platform platform/common"
  [platform/windows]="platform platform/common"
  [store]="host platform base record"
  [store/backup/posix]="host platform base record store"
  [store/backup/windows]="platform platform/common platform/windows base record store"
  [engine]="record store"
  [engine/posix]="host engine record store"
  [engine/postgres]="host engine record store"
  [engine/windows]="platform platform/windows engine record store"
  [cli]=""
  [cli/posix]="host cli"
  [cli/windows]="platform platform/windows cli"
)
# The server's folders, from the ground up.
reach="host ${layers[*]}"
for folder in metrics log service_manager files settings wire sessions status; do
  reaches[server/$folder]=$reach
  reach+=" server/$folder"
done
reaches[server]=$reach

breaches=0
breach() {
  printf '%s:%s: %s\n' "$1" "$2" "$3"
  breaches=$((breaches + 1))
}

folder_of() {
  case $1 in
    platform/*/* | server/*/* | engine/posix/* | engine/postgres/* | engine/windows/* | cli/posix/* | cli/windows/* | store/backup/*/*) echo "${1%/*}" ;;
    *) echo "${1%%/*}" ;;
  esac
}

may_include() {
  local from=$1 to=$2 layer
  [ "$from" != "$to" ] || return 0
  if [ -n "${reaches[$from]+set}" ]; then
    [[ " ${reaches[$from]} " == *" $to "* ]]
    return
  fi
  for layer in "${layers[@]}"; do
    [ "$layer" != "$from" ] || return 1
    [ "$layer" != "$to" ] || return 0
  done
  return 1
}

# A header of src/store that includes nothing of ours has only facts of the store's format, which the folders below
# need too.
is_fact() {
  [[ $1 == store/* && -f $1 ]] && ! grep -qE '^[[:space:]]*#[[:space:]]*include[[:space:]]*("|<tvlclient)' "$1"
}

# These folders may include system headers.
posix_folders="host platform/posix store engine/posix engine/postgres server cli/posix"

check_own_header() {
  local file=$1 line=$2 header=$3 folder
  folder=$(folder_of "$file")
  if [[ $header != */* || ! -f $header ]]; then
    breach "$file" "$line" "\"$header\" is no header of the project; write it as \"folder/name.h\""
  elif [[ $folder == platform* ]] && is_fact "$header"; then
    return 0
  elif ! may_include "$folder" "$(folder_of "$header")"; then
    breach "$file" "$line" "$folder must not include $(folder_of "$header")"
  fi
}

# Folders that may include a system header; empty means all.
allowed_folders() {
  case $1 in
    tvlclient/*) ;;
    zlib.h) echo transfer ;;
    sqlite3.h) echo engine engine/posix engine/windows ;;
    libpq-fe.h) echo engine/postgres ;;
    CLI/*) echo cli server ;;
    asio.hpp | asio/*) echo server ;;
    httplib.h) echo cli/posix server ;;
    nlohmann/*) echo cli server ;;
    cpuid.h | immintrin.h) echo transfer ;;
    windows.h | winioctl.h | winsock2.h | ws2tcpip.h | mstcpip.h | aclapi.h) echo platform/windows engine/windows cli/windows ;;
    shellapi.h | shlwapi.h | winhttp.h | fcntl.h | io.h) echo "$posix_folders cli/windows" ;;
    */* | *.h) echo "$posix_folders" ;;
    *) ;;
  esac
}

check_system_header() {
  local file=$1 line=$2 header=$3 folder allowed
  folder=$(folder_of "$file")
  allowed=$(allowed_folders "$header")
  if [[ -n $allowed && " $allowed " != *" $folder "* && " $allowed " != *" ${folder%%/*} "* ]]; then
    breach "$file" "$line" "<$header> belongs in: $allowed"
  fi
}

check_includes() {
  local file line text
  while IFS=: read -r file line text; do
    case $text in
      *'"'*'"'*)
        text=${text#*\"}
        check_own_header "$file" "$line" "${text%%\"*}"
        ;;
      *'<'*'>'*)
        text=${text#*<}
        check_system_header "$file" "$line" "${text%%>*}"
        ;;
    esac
  done < <(grep -rnE '^[[:space:]]*#[[:space:]]*include' --include='*.h' --include='*.cpp' -- * || true)
}

check_calls() {
  local file line text call='(^|[^A-Za-z0-9_])(strcpy|strcat|sprintf|vsprintf|gets|strtok|atoi|atol|atof)[[:space:]]*\('
  while IFS=: read -r file line text; do
    [[ ${text%%//*} =~ $call ]] || continue
    breach "$file" "$line" "${BASH_REMATCH[2]} has no bounds or hides its failures"
  done < <(grep -rnE "$call" --include='*.h' --include='*.cpp' -- * || true)
}

check_folders() {
  local folder
  for folder in */; do
    folder=${folder%/}
    [[ " ${layers[*]} ${!reaches[*]} " == *" $folder "* ]] || breach "$folder" 0 "has no place in the house"
  done
}

check_folders
check_includes
check_calls
[ "$breaches" -eq 0 ]
