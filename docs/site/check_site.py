#!/usr/bin/env python3
"""Checks a built site: every link inside it leads to a file and, where it names one, to an anchor; nothing that a browser
would fetch by itself (scripts, styles, fonts, pictures) comes from elsewhere.

  check_site.py FOLDER"""

import html.parser
import pathlib
import re
import sys
import tempfile
import urllib.parse

FETCHED = {("script", "src"), ("img", "src"), ("link", "href"), ("iframe", "src"), ("source", "src"), ("video", "src"),
           ("object", "data"), ("image", "href"), ("use", "href")}
# The theme's scripts fetch for these: a library that draws diagrams, the figures of a repository.
FETCHING = [("class", "mermaid"), ("data-md-component", "source")]
NOT_FETCHED = {"canonical", "next", "prev", "author", "license"}
LEAST_PAGES = 50


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.fetched, self.anchors = [], [], set()
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        values = dict(attrs)
        self.anchors.update(value for name in ("id", "name") if (value := values.get(name)))
        if tag == "a" and values.get("href"):
            self.links.append(values["href"])
        self.fetched += [f"//{word}" for name, word in FETCHING if word in (values.get(name) or "").split()]
        for name, value in attrs:
            if (tag, name) in FETCHED and value and values.get("rel") not in NOT_FETCHED:
                self.fetched.append(value)


def is_elsewhere(target):
    return bool(re.match(r"(?:[a-z][a-z0-9+.-]*:)?//", target, re.I))


def check_page(path, page, pages, root):
    faults = [f"fetches {target} from elsewhere" for target in page.fetched if is_elsewhere(target)]
    for target in page.links + page.fetched:
        if is_elsewhere(target) or target.startswith(("mailto:", "data:", "javascript:")):
            continue
        name, _, anchor = target.partition("#")
        name = urllib.parse.unquote(name.partition("?")[0])
        place = (path.parent / name).resolve() if name else path
        if not place.is_relative_to(root) or not place.is_file():
            # The page for paths that are not there is made for the root of a server.
            if path.name != "404.html":
                faults.append(f"the link to {target} leads nowhere")
        elif anchor and place in pages and urllib.parse.unquote(anchor) not in pages[place].anchors:
            faults.append(f"{name or 'the page'} has no {anchor}")
    return [f"{path.relative_to(root)}: {fault}" for fault in faults]


def faults_of(root):
    """(the number of pages, the faults) of a site."""
    pages = {path: Page(path.read_text()) for path in sorted(root.rglob("*.html"))}
    faults = [fault for path, page in pages.items() for fault in check_page(path, page, pages, root)]
    for path in sorted(root.rglob("*.css")):
        for target in re.findall(r"(?:url\(|@import )[\"']?([^\"')]+)", path.read_text()):
            if is_elsewhere(target):
                faults.append(f"{path.relative_to(root)}: fetches {target} from elsewhere")
    return len(pages), faults


def probe():
    """The checks must be able to fail: a page with each of the faults, and a style with one."""
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder).resolve()
        (root / "page.html").write_text('<a href="gone.html">a</a> <a href="#gone">b</a> <a href="#here">c</a>'
                                        '<p id="here"><script src="//elsewhere/x.js"></script>'
                                        '<a href="https://elsewhere/">d</a>'
                                        '<pre class="mermaid">')
        (root / "style.css").write_text("@font-face { src: url('https://elsewhere/font') }")
        return faults_of(root) == (1, ["page.html: fetches //elsewhere/x.js from elsewhere",
                                       "page.html: fetches //mermaid from elsewhere",
                                       "page.html: the link to gone.html leads nowhere",
                                       "page.html: the page has no gone",
                                       "style.css: fetches https://elsewhere/font from elsewhere"])


def main():
    pages, faults = faults_of(pathlib.Path(sys.argv[1]).resolve())
    if not probe():
        faults.append("the probe was not found")
    if pages < LEAST_PAGES:
        faults.append(f"only {pages} pages")
    for fault in faults:
        print(fault)
    print(f"check_site: {pages} pages, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
