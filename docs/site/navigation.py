"""The order of the site: titles and files of the repository. `*` stands for all files of that form, in order of their
names. A file that is not there (yet) is left out, and what is linked but named nowhere here comes under "More"."""

NAVIGATION = [
    ("Start", [
        ("fsort", "README.md"),
        ("Installing", "docs/INSTALL.md"),
        ("Tutorial", "docs/TUTORIAL.md"),
        ("Coming from GNU sort or SQL", "docs/COMING-FROM.md"),
        ("How it works", "docs/HOW-IT-WORKS.md"),
    ]),
    ("Cookbook", [
        ("All recipes", "docs/cookbook/README.md"),
        ("Fields and columns", "docs/cookbook/fields.md"),
        ("Dates and times", "docs/cookbook/dates.md"),
        ("Numbers and amounts", "docs/cookbook/numbers.md"),
        ("Letters and alphabets", "docs/cookbook/letters.md"),
        ("Binary and fixed records", "docs/cookbook/binary.md"),
        ("Files, duplicates, memory", "docs/cookbook/files.md"),
        (None, "docs/cookbook/*.md"),
    ]),
    ("Reference", [
        ("The command line", "docs/COMMAND-LINE.md"),
        ("Keys", "docs/KEYS.md"),
        ("Records", "docs/RECORDS.md"),
        ("The tool", "docs/TOOL.md"),
        ("All options", "docs/OPTIONS.md"),
        ("Explain", "docs/EXPLAIN.md"),
        ("Messages", "docs/MESSAGES.md"),
        ("Options", [("All options", "docs/options"), (None, "docs/options/*.md")]),
    ]),
    ("Programming", [
        ("The C interface", "docs/C-INTERFACE.md"),
        ("Bindings", "docs/BINDINGS.md"),
        ("Python", "bindings/python/README.md"),
        ("Node", "bindings/node/README.md"),
        ("On Windows", "docs/WINDOWS.md"),
    ]),
    ("Inside", [
        ("Performance", "docs/PERFORMANCE.md"),
        ("Architecture", "docs/ARCHITECTURE.md"),
        ("File formats", "docs/FORMATS.md"),
        ("Testing", "docs/TESTING.md"),
        ("Coverage", "docs/COVERAGE.md"),
        ("Security", "SECURITY.md"),
        ("Contributing", "CONTRIBUTING.md"),
        ("Changes", "CHANGELOG.md"),
        ("Internals", [(None, "docs/internals/*.md")]),
        ("Decisions", [("All decisions", "docs/decisions/README.md"), (None, "docs/decisions/*.md")]),
    ]),
]
