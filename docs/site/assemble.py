#!/usr/bin/env python3
"""Gathers the pages of the site from the repository, so that mkdocs finds them in one folder.

  assemble.py --out BUILD/SITE

The pages in docs/ are written to be read where they lie. The site has more: pages of other folders that they link to,
sources as pages with colours, indexes of folders, a reference made from the header. So everything is copied into
OUT/pages, beginning with what navigation.py names and all of docs/, then whatever a page links to:

  docs/X.md        X.md                        README.md         index.md
  bench/X.md       repository/bench/X.md       include/fsort.h   repository/include/fsort.h.md
  a folder         its README.md, or an index that is made here

and the links are changed accordingly. In pages, a line `<!-- file: PATH -->` is replaced by the file as a block, a line
`<!-- header: PATH -->` by the reference made from a header. A link that leads nowhere ends the run. OUT/mkdocs.yml is
written with the navigation; the rest of the configuration is docs/site/mkdocs.yml."""

import argparse
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

import header_page
from navigation import NAVIGATION

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LINK = re.compile(r"(\]\()([^)\s]+)(\))")
INCLUDED = re.compile(r"^<!-- (file|header): (\S+) -->$", re.M)
LANGUAGES = {".h": "c", ".c": "c", ".hpp": "cpp", ".cpp": "cpp", ".cs": "csharp", ".py": "python", ".ts": "typescript",
             ".js": "javascript", ".sh": "sh", ".json": "json", ".yml": "yaml", ".map": "text", ".def": "text",
             ".cmake": "cmake", ".in": "text", ".txt": "text"}
PICTURES = {".svg", ".png"}


class Fault(Exception):
    pass


def site_name(path):
    """Where a file or folder of the repository lies in the site; `path` is relative to the repository."""
    text = path.as_posix()
    if text == "README.md":
        return "index.md"
    if (ROOT / path).is_dir():
        return site_name(path / "README.md") if (ROOT / path / "README.md").exists() else folder_name(path) + "/index.md"
    inside = folder_name(path)
    if path.name == "README.md":
        # The index of a folder becomes the page of its whole section; that is meant in docs/ only.
        return f"{folder_name(path.parent)}/{'index' if text.startswith('docs/') else 'about'}.md"
    return inside if path.suffix in PICTURES | {".md"} else inside + ".md"


def folder_name(path):
    text = path.as_posix()
    return text.removeprefix("docs/") if text.startswith("docs/") else f"repository/{text}"


def front_matter(text):
    """(the fields of a page's front matter, the page without it)"""
    found = re.match(r"---\n(.*?)\n---\n", text, re.S)
    if not found:
        return {}, text
    fields = dict(re.findall(r"^([\w-]+): (.*)$", found[1], re.M))
    return {name: json.loads(value) if value[0] in '"[' else value for name, value in fields.items()}, text[found.end():]


def option_page(text):
    """A page of docs/options: its front matter as a title and a table."""
    fields, body = front_matter(text)
    pages = option_files()
    also = ", ".join(f"[`{option}`]({pages[option]})" for option in fields.get("see-also", []) if option in pages)
    rows = [("Argument", fields.get("argument")), ("Default", fields.get("default"))]
    table = "".join(f"| {name} | {cell(value)} |\n" for name, value in rows if value)
    example = f"```sh\n{fields['example']}\n```\n\n" if fields.get("example") else ""
    return (f"# {option_title(fields)}\n\n| Option | `{fields['option']}` |\n|---|---|\n{table}"
            + (f"| See also | {also} |\n" if also else "") + f"\n{example}{body}")


def option_title(fields):
    return "( ) groups" if fields["option"] == "(" else fields["option"]


def cell(value):
    return value.replace("|", "\\|").replace("<", "&lt;")


def option_files():
    """Option names and their pages in docs/options."""
    return {front_matter(path.read_text())[0].get("option"): path.name
            for path in sorted((ROOT / "docs/options").glob("*.md"))}


def first_sentence(body):
    paragraph = " ".join(body.strip().split("\n\n")[0].split())
    return re.split(r"(?<=[.:]) (?=[A-Z])", paragraph)[0]


def index_of(folder):
    """A page that lists the pages of a folder."""
    lines = [f"# {folder.name.capitalize()}", ""]
    if folder.name == "options":
        lines += ["| Option | Argument | |", "|---|---|---|"]
        for option, name in option_files().items():
            fields, body = front_matter((ROOT / folder / name).read_text())
            argument = f"`{fields['argument']}`".replace("|", "\\|") if fields.get("argument") else ""
            lines.append(f"| [`{option}`]({name}) | {argument} | {first_sentence(body)} |")
    else:
        for path in sorted((ROOT / folder).iterdir()):
            if path.suffix in LANGUAGES or path.suffix == ".md" or path.is_dir() and not path.name.startswith(("_", ".")):
                lines.append(f"- [{path.name}]({path.name})")
    return "\n".join(lines) + "\n"


def title_of(path):
    text = path.read_text()
    found = re.search(r"^# (.*)$", text, re.M)
    if found:
        return found[1]
    fields, _ = front_matter(text)
    return option_title(fields) if "option" in fields else path.stem


def notes_of(folder):
    """The list below the page of the decision notes."""
    notes = [path for path in sorted((ROOT / folder).glob("[0-9]*.md"))]
    return "\n" + "".join(f"- [{title_of(path)}]({path.name})\n" for path in notes)


def with_breaks_before_lists(text):
    """Lists directly below a line of text are lists to most readers of Markdown; here they need an empty line."""
    out, code = [], False
    item = re.compile(r"(?:[-*]|\d+\.) ")
    for line in text.split("\n"):
        code ^= line.startswith("```")
        before = out[-1] if out else ""
        if not code and item.match(line) and before and not item.match(before) and not before.startswith((" ", "|")):
            out.append("")
        out.append(line)
    return "\n".join(out)


def block(path, language=None):
    return f"```{language or LANGUAGES.get(path.suffix, 'text')}\n{path.read_text().rstrip()}\n```"


class Site:
    def __init__(self, out):
        self.pages = out / "pages"
        self.waiting = []
        self.seen = set()

    def ask_for(self, path):
        """A file or folder of the repository comes into the site. Result: its name there."""
        if path not in self.seen:
            self.seen.add(path)
            self.waiting.append(path)
        return site_name(path)

    def content(self, path):
        """The text of a page, links still those of the repository."""
        whole = ROOT / path
        if whole.is_dir():
            return index_of(path)
        text = whole.read_text()
        if path.suffix != ".md":
            language = "python" if text.startswith("#!/usr/bin/env python") else "sh" if text.startswith("#!") else None
            return f"# {path.as_posix()}\n\n{block(whole, language)}\n"
        if path.parent.as_posix() == "docs/options":
            text = option_page(text)
        if path.as_posix() == "docs/decisions/README.md":
            text += notes_of(path.parent)
        text = INCLUDED.sub(lambda found: self.included(path, *found.groups()), text)
        return with_breaks_before_lists(text)

    @staticmethod
    def included(path, kind, name):
        source = ROOT / name
        if not source.is_file():
            raise Fault(f"{path}: {name} is not there")
        return block(source) if kind == "file" else header_page.page_of(source.read_text())

    def changed_link(self, path, target):
        """A link of the page `path` as the site needs it."""
        if "://" in target or target.startswith(("#", "mailto:")):
            return target
        name, _, anchor = target.partition("#")
        folder = path if (ROOT / path).is_dir() else path.parent
        place = pathlib.Path(os.path.normpath(folder / name))
        if not (ROOT / place).exists() or place.is_absolute() or place.parts[:1] == ("..",):
            raise Fault(f"{path}: the link to {target} leads nowhere")
        if (ROOT / place / "README.md").exists():
            place = place / "README.md"
        there = os.path.relpath(self.ask_for(place), os.path.dirname(site_name(path)) or ".")
        return there + ("#" + anchor if anchor else "")

    def put(self, path):
        target = self.pages / site_name(path)
        target.parent.mkdir(parents=True, exist_ok=True)
        if path.suffix in PICTURES:
            shutil.copyfile(ROOT / path, target)
            return
        parts = re.split(r"(^```.*?^```|`[^`\n]+`)", self.content(path), flags=re.S | re.M)
        for index in range(0, len(parts), 2):   # what is not code
            parts[index] = LINK.sub(lambda found: found[1] + self.changed_link(path, found[2]) + found[3], parts[index])
        target.write_text("".join(parts))

    def gather(self):
        while self.waiting:
            self.put(self.waiting.pop())


def entries(items, site, named):
    """Navigation as mkdocs wants it; notes in `named` what stands in it."""
    out = []
    for title, what in items:
        if isinstance(what, list):
            below = entries(what, site, named)
            out += [{title: below}] if below else []
            continue
        for path in sorted(ROOT.glob(what)):
            path = path.relative_to(ROOT)
            if path not in named:
                named.add(path)
                entry = site.ask_for(path)
                out.append({title or title_of(ROOT / path): entry})
    return out


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--out", required=True, type=pathlib.Path)
    out = parser.parse_args().out.resolve()
    shutil.rmtree(out / "pages", ignore_errors=True)
    site, named = Site(out), set()
    navigation = entries(NAVIGATION, site, named)
    listed = subprocess.run([ROOT / "scripts/list_files", "docs/*.md"], capture_output=True, text=True, check=True)
    for name in listed.stdout.split():
        site.ask_for(pathlib.Path(name))
    try:
        site.gather()
    except Fault as fault:
        print(fault)
        return 1
    more = [path for path in sorted(site.seen - named) if path.suffix not in PICTURES]
    navigation.append({"More": [{path.as_posix(): site_name(path)} for path in more]})
    here = ROOT / "docs/site"
    shutil.copytree(here / "assets", site.pages / "assets", dirs_exist_ok=True)
    configuration = {"INHERIT": os.path.relpath(here / "mkdocs.yml", out), "docs_dir": str(site.pages),
                     "site_dir": str(out / "html"), "theme": {"custom_dir": str(here / "theme")},
                     "hooks": [str(here / "hooks.py")], "nav": navigation}
    (out / "mkdocs.yml").write_text(json.dumps(configuration, indent=1))
    print(f"{len(site.seen)} pages and pictures, {len(more)} of them only linked to")
    return 0


if __name__ == "__main__":
    sys.exit(main())
