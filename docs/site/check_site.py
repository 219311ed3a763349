#!/usr/bin/env python3
"""check_site.py SITE: names every link of the pages below SITE that leads nowhere and everything that
they load from elsewhere, and exits with 1 if there is any; lists the addresses elsewhere that they
only link to. Reads the pages itself, with their anchors, and has linkchecker follow the links. Nothing
is requested from the network."""
import html.parser
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import urllib.parse

# What a browser fetches by itself. Of `link` it depends on the relation.
LOADING = {"script": "src", "img": "src", "iframe": "src", "source": "src", "embed": "src", "object": "data",
           "video": "src", "audio": "src", "track": "src", "input": "src"}
LOADING_RELATIONS = {"stylesheet", "icon", "preload", "prefetch", "modulepreload", "preconnect", "dns-prefetch",
                     "manifest", "apple-touch-icon"}
STYLE_ADDRESS = re.compile(r"(?:@import\s+(?:url\()?|url\()\s*['\"]?([^'\")\s;]+)")


def is_elsewhere(address):
    return re.match(r"(?!data:|javascript:)[a-z][a-z0-9+.-]*:|//", address, re.IGNORECASE) is not None


class Page(html.parser.HTMLParser):
    """The anchors of a page, the addresses that it links to and those that it loads."""

    def __init__(self, text):
        super().__init__()
        self.anchors, self.links, self.loads = set(), set(), set()
        self._in_style = False
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        named = {name: value or "" for name, value in attributes}
        self.anchors.update(value for name, value in named.items() if name == "id" or (tag == "a" and name == "name"))
        if tag in LOADING and LOADING[tag] in named:
            self.loads.add(named[LOADING[tag]])
        if tag == "link" and LOADING_RELATIONS & set(named.get("rel", "").lower().split()):
            self.loads.add(named.get("href", ""))
        if tag in ("a", "area") and "href" in named:
            self.links.add(named["href"])
        self.loads.update(STYLE_ADDRESS.findall(named.get("style", "")))
        self._in_style = tag == "style"

    def handle_data(self, data):
        if self._in_style:
            self.loads.update(STYLE_ADDRESS.findall(data))


def target_of(site, file, address):
    """The file and the anchor that a relative address names."""
    parts = urllib.parse.urlsplit(address)
    path = urllib.parse.unquote(parts.path)
    if not path:
        return file, urllib.parse.unquote(parts.fragment)
    target = (site / path.lstrip("/") if path.startswith("/") else file.parent / path).resolve()
    return (target / "index.html" if target.is_dir() else target), urllib.parse.unquote(parts.fragment)


def check(site):
    """The faults of the pages below `site`, and the addresses elsewhere that they link to."""
    site = site.resolve()
    pages = {file: Page(file.read_text(errors="replace")) for file in sorted(site.rglob("*.html"))}
    faults, elsewhere = [], set()
    for file, page in pages.items():
        name = file.relative_to(site)
        for address in sorted(page.loads):
            if is_elsewhere(address):
                faults.append(f"{name} loads {address}")
        for address in sorted(page.links | page.loads):
            if is_elsewhere(address):
                elsewhere.add(address)
                continue
            if address.startswith(("data:", "javascript:")):
                continue
            target, anchor = target_of(site, file, address)
            # Doxygen's own pages have headings of theirs without the anchor that their summary names.
            is_generated = name.parts[0] == "api"
            if not target.is_file() or site not in target.parents:
                faults.append(f"{name} links to {address}, which there is not")
            elif anchor and target in pages and not is_generated and anchor not in pages[target].anchors:
                faults.append(f"{name} links to {address}, and there is no such anchor")
    for file in sorted(site.rglob("*.css")):
        for address in sorted(set(STYLE_ADDRESS.findall(file.read_text(errors="replace")))):
            if is_elsewhere(address):
                faults.append(f"{file.relative_to(site)} loads {address}")
    if not pages:
        faults.append(f"there are no pages in {site}")
    return faults, sorted(elsewhere)


def follow(site):
    """Has linkchecker follow the links; answers whether all lead somewhere."""
    # It gives up root's rights, and with them perhaps the right to read the folder of the site.
    with tempfile.TemporaryDirectory() as folder:
        copy = pathlib.Path(folder) / "site"
        shutil.copytree(site, copy)
        for path in [pathlib.Path(folder), copy, *copy.rglob("*")]:
            path.chmod(0o755 if path.is_dir() else 0o644)
        found = subprocess.run(["linkchecker", "--no-status", "--no-warnings", "--ignore-url=^https?:",
                                f"file://{copy}/index.html"], capture_output=True, text=True)
    checked = re.search(r"(\d+) links in \d+ URLs checked", found.stdout)
    if found.returncode != 0 or not checked or int(checked[1]) < 2:
        sys.stderr.write(found.stdout + found.stderr)
        return False
    print(f"linkchecker followed {checked[1]} links")
    return True


def main():
    site = pathlib.Path(sys.argv[1])
    faults, elsewhere = check(site)
    for address in elsewhere:
        print(f"not checked: {address}")
    for fault in faults:
        print(fault, file=sys.stderr)
    is_whole = follow(site)
    print(f"{len(faults)} faults in the pages; {len(elsewhere)} addresses elsewhere, none of them requested")
    sys.exit(0 if is_whole and not faults else 1)


if __name__ == "__main__":
    main()
