#!/usr/bin/env bash
# Every link from one document of the project to another file leads to something that exists.
#
#   links_test.sh ROOT
set -euo pipefail

links=0
broken=0
while IFS= read -r -d '' document; do
    while IFS= read -r target; do
        target=${target%%#*}
        case $target in
            '' | http:* | https:*) continue ;;
        esac
        links=$((links + 1))
        if [ ! -e "$(dirname "$document")/$target" ]; then
            echo "$document: no $target"
            broken=$((broken + 1))
        fi
    done < <(grep -oE '\]\([^) ]+\)' "$document" | sed 's/^](//; s/)$//')
done < <(find "$1" -name '*.md' -not -path "$1/build/*" -not -path "$1/.git/*" -print0)

echo "$links links, $broken broken"
# A search that found nothing has not searched.
[ "$links" -gt 0 ] && [ "$broken" -eq 0 ]
