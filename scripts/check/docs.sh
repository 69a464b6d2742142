# Builds the documentation site from the documents and the public headers, and follows its links.
#
#   scripts/check.sh docs [FOLDER]    default: build/docs
#
# Pages can be opened as files; the search needs a server, such as the one in the last line of output.
[ $# -le 1 ] || wrong_usage
site=$(realpath --canonicalize-missing "${1:-build/docs}")

needs python3 site
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
