"""What mkdocs calls while it builds.

Commands in a text or a table: a line is broken between the arguments of a command, not behind the hyphen of an option.

Search without a server: a browser does not let a page that lies in a folder fetch the index or start a worker from a
file. So both are written into a script, search/offline.js, which the theme's page loads first (theme/main.html) and
which hands them to the theme's search under the name that it looks for."""

import json
import pathlib
import re

CELL = re.compile(r"<td[^>]*>.*?</td>", re.S)
CODE = re.compile(r"(?<!<pre>)(?<!</span>)<code>([^<]*)</code>")     # not that of blocks
ARGUMENT = re.compile(r"""(?:'[^']*'|"[^"]*"|&quot;.*?&quot;|[^\s'"])+|['"]""")
WORKER = "assets/javascripts/workers/search.*.min.js"


def unbroken(found):
    parts = ARGUMENT.findall(found[1])
    return "<code>" + " ".join(f'<span class="argument">{part}</span>' for part in parts) + "</code>"


def on_page_content(html, **_):
    # A bar in a table's code is written \\|, and the backslash is left there.
    html = CELL.sub(lambda cell: cell.group().replace("\\|", "|"), html)
    return CODE.sub(unbroken, html)


def on_post_build(config, **_):
    site = pathlib.Path(config["site_dir"])
    index = json.loads((site / "search/search_index.json").read_text())
    worker = next(site.glob(WORKER)).read_text()
    (site / "search/offline.js").write_text(
        "/* The search for pages that are opened from a folder: hooks.py says why. */\n"
        "var __search = location.protocol !== 'file:' ? undefined : {\n"
        f"  index: Promise.resolve({json.dumps(index)}),\n"
        f"  worker: URL.createObjectURL(new Blob([{json.dumps(worker)}], {{type: 'text/javascript'}}))\n"
        "};\n")
