"""Reads the pages that the documentation's runner executes: sections, fenced blocks and tables of commands.

A page is Markdown. What counts in it:

  ## or ### heading            begins a section; its commands run in one folder that begins empty
  ```text title="NAME"         a file of that name for the section, written as shown
  ```sh                        a step: shell text, `fsort` in it is the tool
  ```sh title="exit status N"  the same, with the status that it must end with
  ```text title="output"       the standard output of the step before it, byte for byte; without it there must be none
  ```text title="messages"     the standard error of the step before it, timing lines left away; likewise
  ```sh title="left column"    how the commands in the left column of the section's tables are run; $ROW is the command
  | `left` | `right` | claim | ...   a row of a table whose third column is headed "Same?": the two commands are compared

Other blocks are for the reader alone. A comment `<!-- one folder -->` makes the whole page one section."""

import dataclasses
import re

FENCE = re.compile(r'^```(\w+)(?: title="([^"]*)")?\s*$')
STATUS = re.compile(r"exit status (\d+)")
CODE = re.compile(r"^`+(.*?)`+$")
COLUMNS = 4


@dataclasses.dataclass
class Block:
    """A fenced block; `first` is the number of its first line of text in the page, from 0, and `end` that behind it."""
    language: str
    title: str
    text: str
    first: int
    end: int


@dataclasses.dataclass
class Row:
    left: str
    right: str
    claim: str
    line: int


@dataclasses.dataclass
class Step:
    command: Block
    status: int = 0
    output: Block = None
    messages: Block = None


@dataclasses.dataclass
class Section:
    title: str
    files: dict = dataclasses.field(default_factory=dict)
    steps: list = dataclasses.field(default_factory=list)
    rows: list = dataclasses.field(default_factory=list)
    reference: str = 'bash -c "$ROW"'

    @property
    def runs(self):
        return bool(self.steps or self.rows)


class PageError(Exception):
    pass


def cells_of(line):
    """The cells of a table's line; a bar in a command is written \\|."""
    cells = re.split(r"(?<!\\)\|", line.strip().strip("|"))
    return [cell.strip().replace("\\|", "|") for cell in cells]


def take_block(section, block, page):
    status = STATUS.fullmatch(block.title)
    if block.language == "sh" and block.title == "left column":
        section.reference = block.text
    elif block.language == "sh" and (not block.title or status):
        section.steps.append(Step(block, int(status[1]) if status else 0))
    elif block.title in ("output", "messages"):
        if not section.steps or getattr(section.steps[-1], block.title):
            raise PageError(f"{page}:{block.first}: {block.title} of no command")
        setattr(section.steps[-1], block.title, block)
    elif block.title:
        section.files[block.title] = block.text


def take_row(section, line, number, compared, page):
    """Takes a table's line; answers whether the lines below it are compared."""
    cells = cells_of(line)
    if len(cells) >= COLUMNS and cells[2] == "Same?":
        return True
    if not compared or set(cells[0]) <= set("-: "):
        return compared
    codes = [CODE.match(cell) for cell in cells[:2]]
    if not all(codes):
        raise PageError(f"{page}:{number + 1}: the first two columns of a compared table are commands")
    section.rows.append(Row(codes[0][1], codes[1][1], cells[2], number + 1))
    return True


def read_block(lines, number, fence):
    end = number + 1
    while end < len(lines) and not lines[end].startswith("```"):
        end += 1
    text = "".join(line + "\n" for line in lines[number + 1:end])
    return Block(fence[1], fence[2] or "", text, number + 1, end)


def read_page(path):
    """The sections of a page that run something."""
    lines = path.read_text().split("\n")
    whole = "<!-- one folder -->" in lines
    sections = [Section(path.stem)]
    number, compared = 0, False
    while number < len(lines):
        line = lines[number]
        fence = FENCE.match(line)
        if line.startswith("```") and not fence:
            raise PageError(f"{path.name}:{number + 1}: a fence is ```language or ```language title=\"...\"")
        if fence:
            block = read_block(lines, number, fence)
            take_block(sections[-1], block, path.name)
            number = block.end
        elif re.match(r"##+ ", line) and not whole:
            sections.append(Section(line.lstrip("# ")))
        compared = line.startswith("|") and take_row(sections[-1], line, number, compared, path.name)
        number += 1
    return [section for section in sections if section.runs]
