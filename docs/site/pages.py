# SPDX-License-Identifier: MIT
"""pages.py SITE: makes a page of SITE out of each Markdown file that README lists under Documentation.

cmark-gfm renders them as a repository's own pages are rendered; this file adds the frame, the ids of the
headings, and turns links between files into links between pages, of a public header into one to its class in
the reference. Another file that is linked becomes a page with its text. Links to folders are only for readers
of the repository.
"""
import html
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
HERE = pathlib.Path(__file__).parent
GROUP = re.compile(r"^\*\*(.+)\*\*$")
ENTRY = re.compile(r"^- \[(.+?)\]\((.+?)\)")
HEADING = re.compile(r"<h([1-6])>(.*?)</h\1>", re.DOTALL)
LINK = re.compile(r'<(a href|img src)="([^"]*)"([^>]*)>')
REFERENCE = "reference/index.html"


def listed_pages():
    """What README lists under Documentation: (group, title, path)."""
    group = ""
    pages = [("", "Quillmark", "README.md")]
    section = (ROOT / "README.md").read_text().split("\n## Documentation\n")[1].split("\n## ")[0]
    for line in section.splitlines():
        if found := GROUP.match(line):
            group = found[1]
        elif found := ENTRY.match(line):
            pages.append((group, found[1], found[2]))
    return pages


def page_name(path):
    """docs/errors.md is errors.html, README.md index.html, examples/README.md examples.html."""
    path = pathlib.PurePath(path)
    if path.name == "README.md":
        return f"{path.parent.name or 'index'}.html"
    return f"{path.stem.lower()}.html"


def slug(heading):
    """The id that a repository's viewer gives a heading."""
    text = html.unescape(re.sub(r"<[^>]*>", "", heading)).lower()
    return re.sub(r"[^\w\- ]", "", text).replace(" ", "-")


class Site:
    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.pages = listed_pages()
        self.names = {path: page_name(path) for _, _, path in self.pages}
        self.frame = (HERE / "frame.html").read_text()

    def navigation(self, current, up):
        items = []
        last_group = ""
        for group, title, path in self.pages:
            if group != last_group:
                items.append(f"<h2>{html.escape(group)}</h2>")
                last_group = group
            mark = ' aria-current="page"' if path == current else ""
            items.append(f'<a href="{up}{self.names[path]}"{mark}>{html.escape(title)}</a>')
        return "\n".join(items)

    def write(self, name, title, body, current=None):
        up = "../" * name.count("/")
        page = self.frame
        for mark, text in (("title", html.escape(title)), ("up", up), ("reference", up + REFERENCE),
                           ("navigation", self.navigation(current, up)), ("body", body)):
            page = page.replace(f"{{{{{mark}}}}}", text)
        target = self.folder / name
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(page)

    def target(self, path, link):
        """Where a link of the file `path` leads to on the site; None for a folder."""
        if link.startswith("#") or re.match(r"[a-z]+:", link):
            return link
        file, _, part = link.partition("#")
        found = (ROOT / path).parent.joinpath(file).resolve()
        if not found.exists():
            raise SystemExit(f"{path}: there is no file {link}")
        if found.is_dir():
            return None
        known = found.relative_to(ROOT).as_posix()
        if known in self.names:
            return self.names[known] + (f"#{part}" if part else "")
        if found.suffix == ".md" and not known.startswith(".github/"):
            raise SystemExit(f"{path}: {known} is linked, but README does not list it")
        return self.reference(found) or self.copy(known)

    def reference(self, file):
        """The page of the class that a header is named for; None for another file."""
        for name in re.findall(r"\bclass QUILLMARK_API (\w+)", file.read_text()) if file.suffix == ".h" else []:
            page = f"reference/classquillmark_1_1{name}.html"
            if name.lower() == file.stem.replace("_", "") and (self.folder / page).exists():
                return page
        return None

    def copy(self, path):
        """A picture as it is; the text of any other file as a page."""
        source = ROOT / path
        if source.suffix in (".png", ".svg"):
            (self.folder / source.name).write_bytes(source.read_bytes())
            return source.name
        name = f"files/{path}.html"
        if not (self.folder / name).exists():
            text = html.escape(source.read_text())
            self.write(name, path, f"<h1>{html.escape(path)}</h1>\n<pre><code>{text}</code></pre>")
        return name

    def add(self, title, path):
        text = (ROOT / path).read_text()
        body = subprocess.run(
            ["cmark-gfm", "--unsafe", "--extension", "table", "--extension", "autolink"],
            input=text, capture_output=True, text=True, check=True).stdout

        def linked(match):
            target = self.target(path, html.unescape(match[2]))
            return "<a>" if target is None else f'<{match[1]}="{html.escape(target)}"{match[3]}>'

        body = LINK.sub(linked, body)
        body = HEADING.sub(lambda m: f'<h{m[1]} id="{slug(m[2])}">{m[2]}</h{m[1]}>', body)
        self.write(self.names[path], title, body, current=path)


def main():
    site = Site(sys.argv[1])
    for path in sorted(ROOT.glob("docs/*.md")):
        name = path.relative_to(ROOT).as_posix()
        if name not in site.names:
            raise SystemExit(f"{name} is no page: README does not list it under Documentation")
    for _, title, path in site.pages:
        site.add(title, path)
    (site.folder / "style.css").write_bytes((HERE / "style.css").read_bytes())


main()
