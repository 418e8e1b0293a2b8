#!/usr/bin/env python3
"""generate.py [--tree FILE] HEADER FOLDER: makes the manual's pages in a folder.

Those of section 3 come from the header's own comments, and those of section 1 from the commands themselves: FILE is
what "annalctl completion json" prints. Without it there are none of section 1. The pages of sections 5 and 7, and what
the commands do not say of themselves, are the texts beside this program.
"""
import argparse
import json
import pathlib
import re
import textwrap

DATE = "November 22, 2026"
HERE = pathlib.Path(__file__).resolve().parent
WIDTH = 78

# ---- mdoc ----


def escaped(text):
    """A text as mdoc shows it. What would be a request at the beginning of a line is none."""
    text = text.replace("\\", "\\e")
    return "\n".join("\\&" + line if line.startswith((".", "'")) else line for line in text.split("\n"))


def word(text):
    """A text as one argument of a macro, whatever is in it."""
    text = text.replace("\\", "\\e").replace('"', "\\(dq")
    # A short word may be the name of a macro, or what macros take for punctuation.
    plain = re.fullmatch(r"[\w@#%+/=:~^-]{4,}|[a-z0-9_]+", text)
    return text if plain else f'"\\&{text}"'


def filled(text):
    """Words as lines that are not too long, each sentence on a line of its own, and no identifier hyphenated."""
    sentences = re.split(r"(?<=[\w\"')`][.?!])(?<!e\.g\.|i\.e\.) +", " ".join(text.split()))
    lines = []
    for sentence in sentences:
        lines += textwrap.wrap(sentence, WIDTH - 8, break_long_words=False, break_on_hyphens=False)
    text = re.sub(r"(?<![\w\\%])(?=\w*_\w)", r"\\%", escaped("\n".join(lines)))
    # A function on a line of its own, as one.
    return re.sub(r"\s*(?<!\S)((?:\\%)?\w+)\(\)([.,:;]?)(?:\s+|$)", r"\n.Fn \1 \2\n", text).replace(" \n", "\n").strip("\n")


def literal(lines):
    """Lines as they are."""
    return ".Bd -literal -offset indent\n" + escaped(textwrap.dedent("\n".join(lines)).strip("\n")) + "\n.Ed"


def head(name, section, names, description):
    listed = " ,\n.Nm ".join(names)
    return f""".\\" Made by docs/man/generate.py.
.Dd {DATE}
.Dt {name.upper()} {section}
.Os "Corix_annal 2.0.0"
.Sh NAME
.Nm {listed}
.Nd {description}
"""


def see_also(pages):
    pages = sorted(pages, key=lambda page: (page[1], page[0]))
    return ".Sh SEE ALSO\n" + " ,\n".join(f".Xr {name} {section}" for name, section in pages) + "\n"


# ---- prose: what a comment and a help text consist of ----


BULLET = re.compile(r"^( *)- (.*)")
TERM = re.compile(r"^( {1,4})(\S+(?:,? \S+)*?) {2,}(\S.*)")
NAMED = re.compile(r"^[a-z_]+(?:, [a-z_]+)*: ")


def indent_of(line):
    return len(line) - len(line.lstrip())


def bullets(lines):
    """The items of a list, with all that stands as deep as their words; and the lines behind it."""
    indent = indent_of(lines[0])
    items = []
    for place, line in enumerate(lines):
        found = BULLET.match(line)
        if found and indent_of(line) == indent:
            items.append([" " * (indent + 2) + found.group(2)])
        elif not line.strip() or indent_of(line) > indent + 1:
            items[-1].append(line)
        else:
            return items, lines[place:]
    return items, []


def terms(lines):
    """The same for terms with what they mean beside them."""
    first = TERM.match(lines[0])
    indent, meaning = len(first.group(1)), first.start(3)
    items = []
    for place, line in enumerate(lines):
        found = TERM.match(line)
        if line.strip() and indent_of(line) == indent:
            items.append([found.group(2), [found.group(3)]] if found else [line.strip(), []])
        elif line.strip() and indent_of(line) >= meaning:
            items[-1][1].append(line)
        else:
            return items, lines[place:]
    return items, []


def words_and_rest(lines):
    """The lines of a paragraph, up to an empty one, a list, or what is said of an argument."""
    for place, line in enumerate(lines[1:], 1):
        argument = NAMED.match(line) and lines[place - 1].endswith((".", ":"))
        other = indent_of(line) != indent_of(lines[0]) if indent_of(lines[0]) == 0 else indent_of(line) == 0
        if not line.strip() or argument or BULLET.match(line) or other:
            return lines[:place], lines[place:]
    return lines, []


def prose(lines):
    """Paragraphs with an empty line between them, lists, and programs between lines of backquotes."""
    parts = []
    while lines:
        if not lines[0].strip():
            lines = lines[1:]
        elif lines[0].strip().startswith("```"):
            end = next(place for place, line in enumerate(lines) if place and line.strip() == "```")
            parts.append(literal(lines[1:end]))
            lines = lines[end + 1 :]
        elif BULLET.match(lines[0]):
            items, lines = bullets(lines)
            shown = [".It\n" + prose(textwrap.dedent("\n".join(item)).split("\n")) for item in items]
            parts.append(".Bl -bullet\n" + "\n".join(shown) + "\n.El")
        elif TERM.match(lines[0]):
            items, lines = terms(lines)
            shown = [f".It {word(term)}\n{filled(' '.join(text))}".rstrip() for term, text in items]
            parts.append(".Bl -tag -width Ds\n" + "\n".join(shown) + "\n.El")
        else:
            part, lines = words_and_rest(lines)
            inner = indent_of(part[0]) > 3
            parts.append(literal(part) if inner else filled(" ".join(part)))
    # These begin with room of their own.
    return re.sub(r"\.Pp\n(?=\.(?:Bd|Bl) )", "", "\n.Pp\n".join(parts))


# ---- section 3 ----

SECTION = re.compile(r"^/\* ---- (.*) ---- \*/$")
FUNCTION = re.compile(r"^ANNAL_API (?:extern )?(.*?)(\w+)\((.*)\)$")
# Which group a section of the header belongs to: by what it begins with.
GROUPS = {
    "codes": ("Corix_annal_codes", "result codes, levels, orders and groupings"),
    "records": ("Corix_annal_records", "records and callbacks"),
    "helpers": ("Corix_annal_helpers", "addresses, names and tables"),
    "event": ("Corix_annal_event", "the event log"),
    "conn": ("Corix_annal_conn", "the connection log"),
    "fileop": ("Corix_annal_fileop", "logs of file operations"),
    "notice": ("Corix_annal_notice", "the notices"),
    "catalog": ("Corix_annal_catalog", "the message catalog"),
}
BEGINNINGS = {
    "result codes": "codes",
    "codes": "codes",
    "types": "records",
    "helpers": "helpers",
    "event log": "event",
    "connection log": "conn",
    "file-operation log": "fileop",
    "notices": "notice",
    "message catalog": "catalog",
}


def comment_lines(text):
    """The words of a comment, without what makes them one."""
    text = text.strip()
    if text.startswith("/* "):
        text = text[3:]
    lines = re.sub(r"^/\*|\*/$", "", text).rstrip().split("\n")
    return [re.sub(r"^ \* ?", "", line) for line in lines if line.strip() or line == ""][0 if lines[0].strip() else 1 :]


def blocks(header):
    """Yields what the header consists of: ("section" | "comment" | "code", text)."""
    lines = header.split("\n")
    place = 0
    while place < len(lines):
        line = lines[place]
        section = SECTION.match(line)
        if section:
            yield "section", section.group(1)
            place += 1
        elif line.startswith("/*"):
            end = next(i for i in range(place, len(lines)) if "*/" in lines[i])
            yield "comment", "\n".join(lines[place : end + 1])
            place = end + 1
        elif not line.strip():
            yield "blank", ""
            place += 1
        else:
            end = place
            while end < len(lines) and lines[end].strip() and not (end > place and lines[end].startswith("/*")):
                end += 1
            yield "code", "\n".join(lines[place:end])
            place = end


def declarations(code):
    """The declarations of a block, each on one line."""
    joined = re.sub(r"\s+", " ", re.sub(r"/\*.*?\*/", "", code)).split(";")
    return [one.replace("ANNAL_NOEXCEPT", "").strip() for one in joined if one.strip()]


def arguments_of(text):
    return [one.strip() for one in text.split(",")]


def shown_structure(code):
    """A structure or an enumeration: its members, each with what is said of it."""
    lines = [line for line in code.split("\n") if line.strip()]
    if len(lines) < 3:
        return literal(lines)
    first, *members, last = lines
    if not re.match(r"^(typedef struct|enum) .*\{$", first):
        return literal(code.split("\n"))
    items = []
    for member in members:
        found = re.match(r"^\s*(?:ANNAL_ALIGN8 )?(.*?)[,;]?\s*(?:/\* (.*) \*/)?$", member)
        items.append(f".It {word(found.group(1))}\n{filled(found.group(2) or '')}".rstrip())
    name = last.strip("}; ") or first.rstrip("{ ")
    return f".Vt {word(name)} :\n.Bl -tag -width Ds -compact\n" + "\n".join(items) + "\n.El"


def shown_declarations(code, names):
    if re.match(r"^(typedef struct|enum|#define)", code.strip()):
        return shown_structure(code)
    if code.startswith("typedef"):
        return literal(textwrap.wrap(" ".join(code.split()), WIDTH - 10, subsequent_indent="    "))
    text = []
    for declaration in declarations(code):
        function = FUNCTION.match(declaration)
        if function:
            kind, name, arguments = function.groups()
            names.append(name)
            quoted = " ".join(f'"{one}"' for one in arguments_of(arguments))
            text.append(f".Ft {word(kind.strip())}\n.Fo {name}\n" +
                        "".join(f".Fa {one}\n" for one in re.findall(r'"[^"]*"', quoted)) + ".Fc")
        else:
            variable = re.sub(r"^ANNAL_API (?:extern )?", "", declaration)
            if not variable.startswith("const CatalogEntry"):
                names.append(re.sub(r"\[.*", "", variable.split()[-1]))
            text.append(f".D1 {word(variable)}")
    return "\n.Pp\n".join(text)


class Page:
    def __init__(self):
        self.names = []
        self.text = []

    def add(self, text):
        self.text.append(text)


def library_pages(header):
    conventions = None
    pages = {group: Page() for group in GROUPS}
    page = None
    comment = None
    for kind, text in blocks(header):
        if kind == "section":
            group = BEGINNINGS[text.split(":")[0]]
            page = pages[group]
            title = text.split(": ")[-1]
            page.add(f".Ss {title[0].upper()}{title[1:]}")
            comment = None
        elif kind == "comment" and conventions is None:
            conventions = comment_lines(text)
        elif page is None:
            continue
        elif kind == "comment":
            # One that is followed by no declaration says something about all that come after it.
            if comment is not None:
                page.add(prose(comment) + "\n.Pp")
            comment = comment_lines(text)
        elif kind == "blank":
            if comment is not None:
                page.add(prose(comment) + "\n.Pp")
                comment = None
        elif not text.startswith("#if") and not text.startswith("#undef") and not text.startswith("#endif"):
            shown = shown_declarations(text, page.names)
            page.add(shown + "\n.Pp" + ("\n" + prose(comment) + "\n.Pp" if comment is not None else ""))
            comment = None
    return conventions, pages


def tidy(text):
    """Without paragraphs that begin or end where there is room anyway."""
    for _ in range(3):
        text = re.sub(r"\.Pp\n(?=\.(?:Pp|Sh|Ss|Bd|Bl|D1)\b)", "", text)
        text = re.sub(r"(\.(?:Sh|Ss) [^\n]*\n)\.Pp\n", r"\1", text)
    return re.sub(r"\.Pp\n?$", "", text.rstrip("\n") + "\n")


LINK = ".Sh LIBRARY\nThe appliance's log library (libCorix_annal, \\-lCorix_annal)\n"


def write_library(header, folder):
    conventions, pages = library_pages(header)
    all_pages = [(name, 3) for name, _ in GROUPS.values()]
    for group, (name, description) in GROUPS.items():
        page = pages[group]
        text = head(name, 3, [name, *page.names], description)
        text += LINK + ".Sh SYNOPSIS\n.In Corix_annal.h\n.Sh DESCRIPTION\n" + "\n".join(page.text) + "\n"
        text += see_also([("Corix_annal", 3), ("Corix_annal", 7)])
        (folder / f"{name}.3").write_text(tidy(text), encoding="utf-8")
        for alias in page.names:
            (folder / f"{alias}.3").write_text(f".so man3/{name}.3\n", encoding="utf-8")
    begin = next(i for i, line in enumerate(conventions) if line.startswith("Conventions"))
    items = [re.sub(r"^ ", "", line) for line in conventions[begin + 1 :]]
    groups = "\n".join(f".It Xr {name} 3\n{description}" for name, description in GROUPS.values())
    text = head("Corix_annal", 3, ["Corix_annal"], "the log library of a storage appliance")
    text += LINK + ".Sh SYNOPSIS\n.In Corix_annal.h\n.Sh DESCRIPTION\n"
    text += prose(conventions[2:begin]) + "\n.Pp\nIts functions, records and codes are described in\n"
    text += ".Bl -tag -width Ds -compact\n" + groups + "\n.El\n.Pp\n"
    text += "A function's own name leads to its page, too.\n.Sh CONVENTIONS\n"
    text += filled(conventions[begin]) + "\n" + prose(items) + "\n"
    text += see_also([*all_pages, ("annalctl", 1), ("Corix_annal_files", 5), ("Corix_annal", 7)])
    (folder / "Corix_annal.3").write_text(tidy(text), encoding="utf-8")


# ---- section 1 ----


def flags(option):
    return " , ".join(f"Fl {word(name[1:])}" for name in option["names"])


def item(option):
    if not option["names"][0].startswith("-"):
        return f".It Ar {word(option['names'][0])}"
    value = f" Ar {word(option['value'])}" if option["value"] else ""
    return f".It {flags(option)}{value}"


def options_list(options, page="command"):
    # annalctl(1) says once what every command takes.
    shown = [option for option in options if not option["hidden"] and (page == "all" or "--help" not in option["names"])]
    if not shown:
        return ""
    items = [item(option) + "\n" + filled(option["description"] + ".") for option in shown]
    return ".Bl -tag -width Ds\n" + "\n".join(items) + "\n.El\n"


def synopsis(path, command):
    """The line of words, for the section of that name and for each command."""
    parts = []
    for option in command["options"]:
        if option["required"]:
            parts.append(f".{flags(option).split(' , ')[0]} Ar {word(option['value'])}")
    if any(not option["required"] and not option["hidden"] for option in command["options"]):
        parts.append(".Op Ar options")
    if command["commands"]:
        parts.append(".Ar command")
    for argument in command["arguments"]:
        name = f"Ar {word(argument['names'][0])}" + (" ..." if argument["repeats"] else "")
        parts.append("." + name if argument["required"] else f".Op {name}")
    return f".Nm {' '.join(path)}\n" + "\n".join(parts) + ("\n" if parts else "")


def note_paragraphs(notes):
    """The paragraphs of a help text, without its examples; and these, as they are."""
    paragraphs, examples = [], []
    for part in filter(str.strip, re.split(r"\n\s*\n", notes.strip("\n"))):
        lines = part.split("\n")
        if lines[0].strip() == "Examples:":
            examples += lines[1:]
            continue
        # A heading line that ends with a colon is followed by lines as they are.
        paragraphs.append(lines)
    return paragraphs, examples


def shown_paragraph(lines):
    plain = [line for line in lines if not line.startswith(" ")]
    indented = [line for line in lines if line.startswith(" ")]
    if indented and lines[: len(plain)] == plain:
        return (filled(" ".join(plain)) + "\n" if plain else "") + literal(indented)
    if indented:
        return literal(lines)
    return filled(" ".join(lines))


def commands_of(command, path):
    """The commands below one, each with its path, in their order."""
    found = []
    for one in command["commands"]:
        found.append((path + [one["name"]], one))
        found += commands_of(one, path + [one["name"]])
    return found


def command_page(command, general, pages):
    name = f"annalctl-{command['name']}"
    path = ["annalctl", command["name"]]
    below = commands_of(command, path)
    described = command["description"].rstrip(".")
    text = head(name, 1, [name], described[0].lower() + described[1:])
    text += ".Sh SYNOPSIS\n" + "".join(synopsis(*one) for one in (below or [(path, command)]))
    text += ".Sh DESCRIPTION\n" + filled(command["description"].rstrip(".") + ".") + "\n"
    # What several commands say is said once.
    said = [tuple(lines) for _, one in below for lines in note_paragraphs(one["notes"])[0]]
    common = [lines for lines in dict.fromkeys(said) if said.count(lines) > 1]
    examples = []
    paragraphs, own = note_paragraphs(command["notes"])
    if below:
        if command["options"]:
            text += ".Pp\nOptions of all its commands:\n" + options_list(command["options"])
    else:
        text += "".join(f".Pp\n{shown_paragraph(lines)}\n" for lines in paragraphs)
        text += options_list(command["arguments"] + command["options"])
        examples += own
    for words, one in below:
        paragraphs, own = note_paragraphs(one["notes"])
        examples += own
        text += f".Ss {' '.join(words)}\n" + filled(one["description"].rstrip(".") + ".") + "\n"
        text += options_list(one["arguments"] + one["options"])
        shown = [shown_paragraph(lines) for lines in paragraphs if tuple(lines) not in common]
        text += (".Pp\n" + "\n.Pp\n".join(shown) + "\n") if shown else ""
    if common:
        text += ".Sh NOTES\n"
        text += "\n.Pp\n".join(shown_paragraph(list(lines)) for lines in common) + "\n"
    text += ".Pp\nThe options that every command takes are in\n.Xr annalctl 1 .\n"
    if "Exit status:" not in command["notes"]:
        text += ".Sh EXIT STATUS\n0 for success, 1 for a failure, 2 for wrong usage.\n"
    if examples:
        text += ".Sh EXAMPLES\n" + literal(examples) + "\n"
    text += see_also([page for page in pages if page[0] != name])
    return name, tidy(text)


def write_commands(tree, folder):
    grouped = [command for command in tree["commands"] if command["name"] != "help"]
    names = [(f"annalctl-{command['name']}", 1) for command in grouped]
    other = [("Corix_annal", 3), ("Corix_annal_files", 5), ("Corix_annal", 7)]
    for command in grouped:
        name, text = command_page(command, tree["options"], [("annalctl", 1), *other])
        (folder / f"{name}.1").write_text(text, encoding="utf-8")
    parts = dict(re.findall(r"^@(\w+)@\n(.*?)(?=^@\w+@$|\Z)", (HERE / "annalctl.mdoc").read_text(encoding="utf-8"),
                            re.MULTILINE | re.DOTALL))
    text = head("annalctl", 1, ["annalctl"], "read and maintain the logs of the appliance")
    text += ".Sh SYNOPSIS\n" + synopsis(["annalctl"], tree) + ".Sh DESCRIPTION\n" + parts["description"]
    text += ".Pp\nThe commands are:\n.Bl -tag -width Ds -compact\n"
    text += "\n".join(f".It Xr annalctl-{one['name']} 1\n{filled(one['description'].rstrip('.') + '.')}"
                      for one in grouped) + "\n.El\n"
    text += ".Pp\nThese options may come before or after a command:\n" + options_list(tree["options"], "all") + parts["rest"]
    text += ".Sh EXAMPLES\n" + literal(note_paragraphs(tree["notes"])[1]) + "\n"
    text += see_also([*names, *other])
    (folder / "annalctl.1").write_text(tidy(text), encoding="utf-8")


def nested(commands):
    """The commands as a tree: each has those that it consists of."""
    by_path = {tuple(command["path"]): {**command, "name": command["path"][-1], "commands": []} for command in commands}
    for path, command in by_path.items():
        if len(path) > 1:
            by_path[path[:-1]]["commands"].append(command)
    return next(iter(by_path.values()))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tree", type=pathlib.Path)
    parser.add_argument("header", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    options = parser.parse_args()
    options.folder.mkdir(parents=True, exist_ok=True)
    for old in options.folder.glob("*.[1357]"):
        old.unlink()
    write_library(options.header.read_text(encoding="utf-8"), options.folder)
    if options.tree:
        write_commands(nested(json.loads(options.tree.read_text(encoding="utf-8"))), options.folder)
    for page in (*HERE.glob("*.5"), *HERE.glob("*.7")):
        text = page.read_text(encoding="utf-8").replace("@DATE@", DATE)
        (options.folder / page.name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
