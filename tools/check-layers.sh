#!/usr/bin/env bash
# Fails when a layer includes a layer above it or beside it, or when an engine includes Qt.
#
#   tools/check-layers.sh [TOP]      (default: the repository this script is in)
#
# Each layer may include the layers listed for it; "<Q" stands for any Qt header.
set -euo pipefail
top=${1:-$(cd "$(dirname "$0")/.." && pwd)}
declare -A allowed=(
    [codec]="codec"
    [core]="core codec"
    [encode]="encode core codec"
    [decode]="decode core codec"
    [shell]="shell encode decode core codec"
    [mail]="mail core codec"
    [platform]="platform core codec <Q"
    [gui]="gui platform mail shell encode decode core codec <Q"
)
engines="codec core encode decode shell"
status=0
for layer in "${!allowed[@]}"; do
    dir=$top/src/$layer
    [[ -d $dir ]] || continue
    while IFS= read -r hit; do
        file=${hit%%:*}
        rest=${hit#*:}
        line=${rest%%:*}
        include=${rest#*:}
        if [[ $include =~ \#include[[:space:]]*\"([a-z_]+)/ ]]; then
            used=${BASH_REMATCH[1]}
        elif [[ $include =~ \#include[[:space:]]*\<Q ]]; then
            used="<Q"
        else
            continue
        fi
        if [[ " ${allowed[$layer]} " != *" $used "* ]]; then
            echo "${file#"$top"/}:$line: $layer may not include $used: $include" >&2
            status=1
        fi
    done < <(grep -rHn --include='*.h' --include='*.cpp' --include='*.h.in' '^[[:space:]]*#include' "$dir" || true)
done
# The engines are built alone for the fuzz target: no Qt, not even through a header above.
for layer in $engines; do
    if grep -rln --include='*.h' --include='*.cpp' '^[[:space:]]*#include[[:space:]]*<Q' "$top/src/$layer" 2>/dev/null; then
        status=1
    fi
done
if ((status == 0)); then
    echo "layers: every include goes down"
fi
exit $status
