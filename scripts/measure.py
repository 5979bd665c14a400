#!/usr/bin/env python3
"""How the sources are cut: files, their lengths, functions, comments, and the share of the tests.

Usage: measure.py [DIR]   DIR is a checkout, this one by default. Only what git knows counts.

Sources are .h, .cpp and .mm. A line is any line of a file. Code lines are neither blank nor begin
with a comment; comment lines begin with one. Functions are counted in .cpp and .mm, over all lines
of these: bodies in braces that follow parentheses at the level of a namespace or a class, so no
lambdas and nothing that a header defines. The tests' share is their code lines among those of src/,
disktools/ and tests/, Python and shell included.
"""
import pathlib
import re
import subprocess
import sys

SOURCES = {".h", ".cpp", ".mm"}
NO_CODE = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|'
                     r"(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'|^[ \t]*#(?:\\\n|[^\n])*", re.S | re.M)
NO_FUNCTION = re.compile(r"\s*(?:template\s*<[^{}]*>\s*)?(?:inline\s+)?"
                         r"(namespace|class|struct|enum|union|extern)\b")


def opens_function(head):
    """Whether a brace at the level of a namespace or a class begins a function's body."""
    if NO_FUNCTION.match(head) and not re.search(r"\)\s*(const|noexcept|override|\s)*$", head):
        return False
    before = head.split("(")[0]
    return "(" in head and not re.search(r"(?<![=!<>])=(?!=)|\breturn\b", before.replace(
        "operator=", ""))


def functions_in(text):
    """Counts bodies; what is inside of one is not looked at."""
    text = NO_CODE.sub(" ", text)
    count, depth, head = 0, [], ""
    for character in text:
        if character == "{":
            inside = "body" in depth
            is_function = not inside and opens_function(head)
            is_scope = not inside and not is_function and NO_FUNCTION.match(head)
            count += is_function
            depth.append("scope" if is_scope else "body")
            head = ""
        elif character == "}":
            if depth:
                depth.pop()
            head = ""
        elif character == ";" and head.count("(") <= head.count(")"):
            head = ""
        else:
            head += character
    return count


def kinds_of_line(path, text):
    """Lines of code and of comment."""
    lines = [line.strip() for line in text.splitlines()]
    slashes = path.suffix in SOURCES
    comments = [line for line in lines
                if line.startswith(("//", "/*") if slashes else "#")]
    return len([line for line in lines if line]) - len(comments), len(comments)


class Folder:
    def __init__(self, top, names):
        self.files = {}
        for name in names:
            path = top / name
            if path.is_file() and not path.is_symlink():
                self.files[pathlib.PurePosixPath(name)] = path.read_text(errors="replace")

    def sources(self, folders):
        return {p: t for p, t in self.files.items()
                if p.suffix in SOURCES and (not folders or p.parts[0] in folders)}

    def code_lines(self, folder, suffixes):
        return sum(kinds_of_line(p, t)[0] for p, t in self.files.items()
                   if p.parts[0] == folder and p.suffix in suffixes)


def column(sources):
    lengths = sorted(text.count("\n") for text in sources.values())
    bodies = {p: t for p, t in sources.items() if p.suffix != ".h"}
    functions = sum(functions_in(text) for text in bodies.values())
    kinds = [kinds_of_line(p, t) for p, t in sources.items()]
    code, comments = sum(k[0] for k in kinds), sum(k[1] for k in kinds)
    return [len(lengths), sum(lengths), lengths[len(lengths) // 2], lengths[len(lengths) * 9 // 10],
            f"{100 * sum(n < 50 for n in lengths) / len(lengths):.0f} %",
            f"{1000 * functions / sum(t.count(chr(10)) for t in bodies.values()):.0f}",
            f"{comments / code:.2f}"]


def main():
    top = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)
    listed = subprocess.run(["git", "-C", top, "ls-files", "-z"], check=True, capture_output=True)
    folder = Folder(top, [name for name in listed.stdout.decode().split("\0") if name])
    columns = {"src + disktools": column(folder.sources({"src", "disktools"})),
               "tests": column(folder.sources({"tests"})), "all": column(folder.sources(set()))}
    rows = ["source files", "lines", "median lines of a file", "90th percentile",
            "files under 50 lines", "functions per 1,000 lines", "comment lines to code lines"]
    print("| | " + " | ".join(columns) + " |\n|---" + "|---:" * len(columns) + "|")
    for number, row in enumerate(rows):
        print(f"| {row} | " + " | ".join(str(c[number]) for c in columns.values()) + " |")
    suffixes = SOURCES | {".py", ".sh"}
    tests = folder.code_lines("tests", suffixes)
    code = sum(folder.code_lines(name, suffixes) for name in ("src", "disktools"))
    print(f"\ntests: {tests} of {tests + code} code lines, {100 * tests / (tests + code):.1f} %")


if __name__ == "__main__":
    main()
