"""Turns the public header into a page: its head comment as prose, each declaration with the comment above it.

The header keeps to a few forms, and the page follows them: a section is /* --- name --- */; a comment stands directly
above its declaration; in a comment a deeper indentation is a table or an example, "Result:" begins a paragraph, " - "
an item."""

import re
import textwrap

SECTION = re.compile(r"/\* --- (.*?) --- \*/")
DECLARED = re.compile(r"^(?:FSORT_API .*?(?P<function>Fsort\w+)\(|typedef .*?\(\*(?P<type>\w+)\)"
                      r"|typedef .* (?P<alias>\w+);|#define (?P<macro>\w+))", re.S)


def plain_lines(comment):
    """The lines of a comment without its stars."""
    inner = comment.strip().removeprefix("/*").removesuffix("*/").rstrip()
    return [re.sub(r"^ \* ?", "", line).rstrip() if number else line.removeprefix(" ")
            for number, line in enumerate(inner.split("\n"))]


def prose(comment):
    lines, out, inside = plain_lines(comment), [], False
    for line in lines:
        table = bool(re.match(r" {2,}\S", line)) and not re.match(r" {2,4}[-\d]", line) and not (out and is_item(out))
        if table != inside:
            out += ["```text"] if table else ["```", ""]
            inside = table
        if re.match(r" *(-|\d+\.) ", line):
            out += ["", line.strip()] if not is_item(out) else [line.strip()]
        elif is_item(out) and line.startswith(" "):
            out.append("    " + line.strip())
        elif line.startswith("Result:"):
            out += ["", line]
        else:
            out.append(line.replace("<", "&lt;") if not inside else line)
    text = "\n".join(out + (["```"] if inside else []))
    text = re.sub(r"(?<=```text\n).*?(?=^```)", lambda block: textwrap.dedent(block.group()), text, flags=re.S | re.M)
    return re.sub(r"^Conventions$", "**Conventions**", text, flags=re.M)


def is_item(out):
    """True inside a list: back to its last item there are only continuation lines."""
    for line in reversed(out):
        if re.match(r"(-|\d+\.) ", line):
            return True
        if line and not line.startswith("    "):
            return False
    return False


def declaration_behind(text, at):
    """The declaration that follows a comment: up to its semicolon, or the directives."""
    rest = text[at:]
    if rest.startswith("#define"):
        return rest[:rest.index("\n")]
    if rest.startswith("#ifdef"):
        return rest[:rest.index("#endif") + len("#endif")]
    return rest[:rest.find(";") + 1]


def page_of(header):
    first_end = header.index("*/") + 2
    out = [prose(header[:first_end])]
    for found in re.finditer(r"/\*.*?\*/\n", header[first_end:], re.S):
        section = SECTION.match(found.group())
        if section:
            out.append(f"### {section[1].capitalize()}")
            continue
        declaration = declaration_behind(header, first_end + found.end())
        name = DECLARED.match(declaration)
        if declaration.startswith("#ifdef") and "FSORT_PIPE" in declaration:
            names = "FSORT_PIPE_INPUT, FSORT_PIPE_OUTPUT"
        elif name:
            names = next(value for value in name.groups() if value)
        else:
            continue
        out.append(f"#### {names}\n\n```c\n{declaration.replace('FSORT_API ', '')}\n```\n\n{prose(found.group())}")
    return "\n\n".join(out) + "\n"
