#!/bin/sh
# The documentation as web pages that link to one another, with their pictures, by pandoc, beside samples and examples.
#   sh scripts/docs_html.sh OUT
set -eu
cd "$(dirname "$0")/.."

out=$1
rm -rf "$out"
mkdir -p "$out/docs" "$out/python"
cp -r docs/images docs/recipes "$out/docs/"
cp -r examples samples LICENSE "$out/"
cp -r python/examples "$out/python/"

cat >"$out/links.lua" <<'END'
-- A link to a page of the documentation leads to its web page.
function Link(link)
  if not link.target:match("^%a+:") then link.target = link.target:gsub("%.md$", ".html"):gsub("%.md#", ".html#") end
  return link
end
END
cat >"$out/style.html" <<'END'
<style>
:root { color-scheme: light dark }
body { font: 1rem/1.5 system-ui, sans-serif; max-width: 50rem; margin: 2rem auto; padding: 0 1rem }
img { max-width: 100% }
pre { overflow-x: auto; padding: .5rem 1rem; background: #8882 }
table { border-collapse: collapse; display: block; overflow-x: auto }
td, th { padding: .2rem .6rem; border-bottom: 1px solid #8886; vertical-align: top; text-align: left }
</style>
END
for page in README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md samples/README.md docs/*.md; do
  pandoc --from gfm --to html5 --standalone --no-highlight --lua-filter "$out/links.lua" --include-in-header "$out/style.html" \
    --metadata pagetitle="$(sed -n 's/^# //p;T;q' "$page")" --output "$out/${page%.md}.html" "$page"
done
rm "$out/links.lua" "$out/style.html" "$out/samples/README.md"

# Every link within the documentation leads somewhere.
find "$out" -name '*.html' | while read -r page; do
  grep -o 'href="[^"#]*\|src="[^"]*' "$page" | sed 's/^[^"]*"//' | grep -v '^[a-z]*:' | sort -u | while read -r target; do
    [ -e "$(dirname "$page")/$target" ] || echo "$page: $target is not there"
  done
done >"$out.missing"
cat "$out.missing"
[ ! -s "$out.missing" ] && rm "$out.missing"
