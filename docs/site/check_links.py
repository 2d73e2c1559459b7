# SPDX-License-Identifier: MIT
"""check_links.py SITE: every link of every page of SITE leads to a file that is there, and where it names a
place in a page, that place is there. Links to other sites are not followed."""
import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links = []
        self.places = set()
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name in ("href", "src") and value:
                self.links.append(value)
            elif name == "id" or (tag == "a" and name == "name"):
                self.places.add(value)


def dead_links(site):
    pages = {path: Page(path.read_text()) for path in sorted(site.rglob("*.html"))}
    for path, page in pages.items():
        for link in page.links:
            url = urllib.parse.urlsplit(link)
            if url.scheme or url.netloc:
                continue
            target = (path.parent / urllib.parse.unquote(url.path)).resolve() if url.path else path
            if not target.exists():
                yield path, link, "there is no such file"
            elif url.fragment and target in pages and (
                    urllib.parse.unquote(url.fragment) not in pages[target].places):
                yield path, link, "there is no such place"


def main():
    site = pathlib.Path(sys.argv[1]).resolve()
    found = 0
    for path, link, reason in dead_links(site):
        print(f"{path.relative_to(site)}: dead link {link}: {reason}", file=sys.stderr)
        found += 1
    if found:
        raise SystemExit(1)


main()
