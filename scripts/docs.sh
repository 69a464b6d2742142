#!/usr/bin/env bash
# Builds the documentation site from the Markdown documents and the public headers, and follows its
# links. Pages can be opened as files; the search wants a server, such as the one that is named at the end.
#
#   scripts/docs.sh [FOLDER]    without a folder: build/docs
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

if [ $# -gt 1 ]; then
    echo "Usage: scripts/docs.sh [FOLDER]" >&2
    exit 2
fi
site=$(realpath --canonicalize-missing "${1:-build/docs}")

scripts/install-dependencies.sh
pages=$site-pages
/usr/bin/python3 -B docs/site/pages.py "$pages"
cat >"$pages.yml" <<CONFIGURATION
INHERIT: $PWD/docs/site/site.yml
docs_dir: $pages
site_dir: $site
CONFIGURATION
if ! /usr/bin/mkdocs build --strict --clean --config-file "$pages.yml" >"$pages.log" 2>&1; then
    grep -E 'WARNING|ERROR|Error' "$pages.log" >&2
    exit 1
fi
/usr/bin/python3 -B docs/site/check_links.py "$site"
echo "The site: $site/index.html (with search: python3 -m http.server --directory $site)"
