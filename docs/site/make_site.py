#!/usr/bin/env python3
"""make_site.py ROOT API MANUAL FOLDER: makes FOLDER/site of the documents of the source tree ROOT, the
API documents in API and the manual pages in MANUAL, with mkdocs. A document that the navigation of
mkdocs.yml lacks is an error, as is one that there is not, and whatever mkdocs warns of."""
import pathlib
import re
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
FENCE = re.compile(r"\s*(```|~~~)")
ITEM = re.compile(r"( *)([-*]|\d+\.) ")


def fail(text):
    sys.exit(f"make_site.py: {text}")


def for_markdown(text):
    """What GitHub's Markdown has and the generator's lacks: a list begins without an empty line before
    it, and a list within another is indented by two blanks."""
    lines, previous, fenced = [], "", False
    for line in text.splitlines():
        if FENCE.match(line):
            fenced = not fenced
        item = None if fenced else ITEM.match(line)
        if item and previous.strip() and not ITEM.match(previous) and not previous.startswith(" "):
            lines.append("")
        if item and len(item[1]) in (2, 3):
            line = "    " + line.lstrip()
        lines.append(line)
        previous = line
    return "\n".join(lines) + "\n"


def documents_of(root):
    files = [root / name for name in ("README.md", "CONTRIBUTING.md", "CHANGELOG.md", "SECURITY.md",
                                   "python/README.md")]
    return files + sorted((root / "docs").glob("*.md"))


def check_navigation(config, names):
    listed = re.findall(r"^ +- [^:#]+(?::.*)?: (\S+\.md)$", config, re.MULTILINE)
    missing = sorted(set(names) - set(listed))
    if missing:
        fail(f"docs/site/mkdocs.yml does not list {', '.join(missing)} below 'nav:'")
    stale = sorted(set(listed) - set(names) - {"api.md"})
    if stale:
        fail(f"docs/site/mkdocs.yml lists {', '.join(stale)}, which there is not")


def manual_page(page):
    """A page of the manual as a document of the site, and its name."""
    name = page.name.rsplit(".", 1)[0]
    html = subprocess.run(["mandoc", "-T", "html", "-O", "fragment", str(page)], check=True, capture_output=True,
                          text=True).stdout
    # Headings of the document, and where a page is named, a link to it.
    html = re.sub(r'<table class="(head|foot)">.*?</table>', "", html, flags=re.DOTALL)
    html = re.sub(r"</?(section|div)[^>]*>", "", html)
    html = re.sub(r"<h([12])[^>]*><a[^>]*>(.*?)</a></h[12]>",
                  lambda heading: f"\n{'##' if heading[1] == '1' else '###'} {' '.join(heading[2].split())}\n",
                  html, flags=re.DOTALL)
    html = re.sub(r"<b>(qvreg[a-z-]*)</b>\(1\)", r'<a href="\1.html"><b>\1</b></a>(1)', html)
    return name, f"---\ntitle: {name}(1)\n---\n\n# {name}(1)\n\n{html}"


def for_site(html):
    """A page of the API in which links to parts of documents, which Doxygen leaves as they stand in
    the document, lead to the site's."""
    return re.sub(r'href="([a-z-]+)\.md(#[^"]*)"', r'href="../docs/\1.html\2"', html)


def stage(root, api, manual, folder):
    """Puts together what mkdocs reads, each file where the documents' links have it; answers the
    manual pages' names."""
    for file in documents_of(root):
        target = folder / file.relative_to(root)
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(for_markdown(file.read_text()))
    for file in [root / "LICENSE", *(root / "docs").glob("*.json"), *(root / "examples").rglob("*")]:
        if file.is_file() and file.suffix != ".md":
            target = folder / file.relative_to(root)
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(file, target)
    shutil.copytree(api, folder / "api")
    for page in (folder / "api").glob("*.html"):
        page.write_text(for_site(page.read_text()))
    (folder / "api.md").write_text(
        "# API\n\n[The API documents](api/index.html) say what each class, function and code of the library is, in "
        "C++ and in C:\n\n- [classes](api/annotated.html)\n- [files](api/files.html), of which "
        "[qvreg_c.h](api/qvreg__c_8h.html) is the C interface\n")
    shutil.copyfile(HERE / "site.css", folder / "site.css")
    pages = [manual_page(page) for page in sorted(manual.glob("*.1"))]
    for name, text in pages:
        target = folder / "manual" / f"{name}.md"
        target.parent.mkdir(exist_ok=True)
        target.write_text(text)
    return [name for name, _ in pages]


def main():
    root, api, manual, folder = (pathlib.Path(word).resolve() for word in sys.argv[1:])
    config = (HERE / "mkdocs.yml").read_text()
    check_navigation(config, [file.relative_to(root).as_posix() for file in documents_of(root)])
    source, site = folder / "site-source", folder / "site"
    for made in (source, site):
        shutil.rmtree(made, ignore_errors=True)
    names = stage(root, api, manual, source / "documents")
    if not names:
        fail(f"there are no manual pages in {manual}; build the command first")
    config += "  - Manual pages:\n" + "".join(f"      - {name}(1): manual/{name}.md\n" for name in names)
    config += f"docs_dir: documents\nsite_dir: {site}\n"
    (source / "mkdocs.yml").write_text(config)
    subprocess.run(["mkdocs", "--quiet", "build", "--strict", "--config-file", str(source / "mkdocs.yml")], check=True)
    print(f"{len(list(site.rglob('*.html')))} pages in {site}")


if __name__ == "__main__":
    main()
