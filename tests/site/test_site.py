#!/usr/bin/env python3
"""test_site.py ROOT: what makes the site of the documents and checks its pages finds what is wrong, and
the navigation has every document of the source tree ROOT."""
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(sys.argv.pop(1))
sys.path.insert(0, str(ROOT / "docs" / "site"))
import check_site  # noqa: E402
import make_site  # noqa: E402


class Faults(unittest.TestCase):
    def of(self, **pages):
        with tempfile.TemporaryDirectory() as folder:
            site = pathlib.Path(folder)
            for name, text in pages.items():
                (site / name.replace("_", ".")).write_text(text)
            return check_site.check(site)

    def test_pages_in_order(self):
        faults, elsewhere = self.of(
            a_html='<a href="b.html#x">b</a><a href="#y">y</a><h2 id="y"></h2><a href="https://c.example/">c</a>'
            '<script src="s.js"></script><img src="data:image/png;base64,AA==">',
            b_html='<a name="x"></a><a href="a.html">a</a>', s_js="", s_css="a { background: url(s.js) }")
        self.assertEqual((faults, elsewhere), ([], ["https://c.example/"]))

    def test_a_link_that_leads_nowhere(self):
        self.assertEqual(self.of(a_html='<a href="b.html">b</a>')[0],
                         ["a.html links to b.html, which there is not"])
        self.assertEqual(self.of(a_html='<a href="../b.html">b</a>')[0],
                         ["a.html links to ../b.html, which there is not"])

    def test_an_anchor_that_there_is_not(self):
        self.assertEqual(self.of(a_html='<a href="b.html#y">b</a>', b_html='<p id="x">')[0],
                         ["a.html links to b.html#y, and there is no such anchor"])

    def test_what_is_loaded_from_elsewhere(self):
        for text in ('<script src="https://c.example/s.js"></script>', '<img src="//c.example/s.js">',
                     '<link rel="stylesheet" href="http://c.example/s.js">', '<iframe src="https://c.example/s.js">',
                     '<link rel="preconnect" href="https://c.example/s.js">',
                     "<style>@import 'https://c.example/s.js';</style>",
                     '<p style="background: url(https://c.example/s.js)">'):
            faults, _ = self.of(a_html=text)
            self.assertEqual(len(faults), 1, text)
            self.assertRegex(faults[0], "^a.html loads .*//c.example/s.js$")

    def test_a_style_sheet_that_loads_from_elsewhere(self):
        faults, _ = self.of(a_html="", s_css='@import url("https://c.example/f.css");')
        self.assertEqual(faults, ["s.css loads https://c.example/f.css"])

    def test_no_pages(self):
        self.assertEqual(len(self.of()[0]), 1)


class Navigation(unittest.TestCase):
    CONFIG = "nav:\n  - Start: README.md\n  - Use:\n      - \"A: b\": docs/a.md\n"

    def test_every_document_is_listed(self):
        names = [file.relative_to(ROOT).as_posix() for file in make_site.documents_of(ROOT)]
        self.assertGreater(len(names), 10)
        make_site.check_navigation((ROOT / "docs/site/mkdocs.yml").read_text(), names)

    def test_a_document_that_is_not_listed(self):
        with self.assertRaisesRegex(SystemExit, r"does not list docs/b\.md below"):
            make_site.check_navigation(self.CONFIG, ["README.md", "docs/a.md", "docs/b.md"])

    def test_a_document_that_there_is_not(self):
        with self.assertRaisesRegex(SystemExit, r"lists docs/a\.md, which there is not"):
            make_site.check_navigation(self.CONFIG, ["README.md"])


class Markdown(unittest.TestCase):
    def test_a_list_behind_a_line_of_text(self):
        self.assertEqual(make_site.for_markdown("Text:\n- a\n- b\n"), "Text:\n\n- a\n- b\n")

    def test_a_list_in_a_list(self):
        self.assertEqual(make_site.for_markdown("- a\n  - b\n"), "- a\n    - b\n")

    def test_a_wrapped_item(self):
        self.assertEqual(make_site.for_markdown("- a\n  goes on\n- b\n"), "- a\n  goes on\n- b\n")

    def test_links_from_the_api_to_parts_of_documents(self):
        self.assertEqual(make_site.for_site('<a href="data.md#missing-values"><a href="x.html#y">'),
                         '<a href="../docs/data.html#missing-values"><a href="x.html#y">')

    def test_code_stays(self):
        code = "```\ntext\n- a\n  - b\n```\n"
        self.assertEqual(make_site.for_markdown(code), code)


if __name__ == "__main__":
    unittest.main()
