"""What can be checked of the documents without a program: links, names of files, steps, presets and
options, and that each block says what it is."""

from __future__ import annotations

import json
import os
import re
import sys
import unittest
import xml.etree.ElementTree
from collections.abc import Iterator

import decisions
import manual

sys.path.append(str(manual.REPOSITORY / "scripts"))

import check_compatibility  # noqa: E402

# What a block can be. How each block is tested, decisions.py says.
LANGUAGES = {
    "sh", "console", "bat", "text", "http", "json", "xml", "ini", "toml", "nginx", "cpp", "python",
}

# The reader's own.
OTHER_PATHS = {"docs/languages/it.png"}
# Files that a program makes, or that a system has.
OTHER_FILES = {"compile_commands.json", "pthread.h", "viewer.html"}
NAME_OF_A_FILE = re.compile(
    r"[\w-][\w.-]*\.(?:c|cmake|conf|cpp|h|html|in|json|md|mjs|png|py|rc|service|sh|svg|toml|ts|txt)")


def folders() -> set[str]:
    """The folders in the repository's root."""
    return {name.split("/")[0] for name in manual.files() if "/" in name}


def exists(path: str) -> bool:
    """Whether there is a file or a folder of this name; "*" stands for anything, and a source may
    be named without its suffix."""
    path = path.rstrip("/")
    pattern = re.escape(path).replace(r"\*", "[^/]*")
    match = re.compile(rf"{pattern}(?:/.*|\.cpp|\.h)?")
    return any(match.fullmatch(name) for name in manual.files())


def mentioned_paths(text: str) -> Iterator[str]:
    """The paths that begin with a folder of the root."""
    roots = "|".join(re.escape(name) for name in sorted(folders()))
    for path in re.findall(rf"(?<![\w./:\\<#-])(?:{roots})/[\w./*-]*", text):
        yield path.rstrip(".")


class Text(unittest.TestCase):
    """Each document by itself."""

    def assert_none(self, faults: list[str]) -> None:
        self.assertEqual(faults, [], "\n" + "\n".join(faults))

    def test_there_are_documents(self) -> None:
        self.assertGreater(len(manual.documents()), 10)

    def test_what_a_link_names_exists(self) -> None:
        faults, count = [], 0
        for document in manual.documents():
            for link in manual.links(document):
                if re.match(r"[a-z]+:", link):
                    continue
                path, _, anchor = link.partition("#")
                folder = os.path.dirname(document)
                target = os.path.normpath(os.path.join(folder, path)) if path else document
                count += 1
                if not exists(target):
                    faults.append(f"{document}: no file {link}")
                elif anchor and anchor not in manual.anchors(target):
                    faults.append(f"{document}: no heading {link}")
        self.assert_none(faults)
        self.assertGreater(count, 30)

    def test_the_paths_in_a_document_exist(self) -> None:
        faults, count = [], 0
        for document in manual.documents():
            for path in mentioned_paths(manual.read(document)):
                count += 1
                if not exists(path) and path not in OTHER_PATHS:
                    faults.append(f"{document}: no file {path}")
        self.assert_none(faults)
        self.assertGreater(count, 100)

    def test_the_files_that_a_document_names_exist(self) -> None:
        names = {os.path.basename(path) for path in manual.files()} | OTHER_FILES
        faults = [
            f"{document}: no file {name}"
            for document in manual.documents() for name in manual.quoted(manual.prose(document))
            if NAME_OF_A_FILE.fullmatch(name) and name not in names
        ]
        self.assert_none(faults)

    def test_each_picture_has_a_description(self) -> None:
        faults = [
            f"{document}: {picture}"
            for document in manual.documents()
            for picture in re.findall(r"!\[\]\([^)]*\)", manual.prose(document))
        ]
        self.assert_none(faults)

    def test_each_drawing_is_whole_and_says_what_it_shows(self) -> None:
        names = [name for name in manual.files() if re.fullmatch(r"docs/.*\.svg", name)]
        self.assertTrue(names)
        space = "{http://www.w3.org/2000/svg}"
        for name in names:
            with self.subTest(name):
                root = xml.etree.ElementTree.fromstring(manual.read(name))
                self.assertTrue(root.findtext(f"{space}title"))
                self.assertEqual(list(root.iter(f"{space}script")), [])

    def test_each_block_says_what_it_is(self) -> None:
        faults = [
            f"{block}: a block of the kind {block.language!r}"
            for document in manual.documents() for block in manual.blocks(document)
            if block.language not in LANGUAGES
        ]
        self.assert_none(faults)

    def test_no_block_is_made_by_indentation(self) -> None:
        faults = []
        for document in manual.documents():
            lines = ["", *manual.prose(document).splitlines()]
            faults += [
                f"{document}:{number}: {line.strip()}"
                for number, (before, line) in enumerate(zip(lines, lines[1:]), 1)
                if not before and re.match(r" {4,}\S", line)
            ]
        self.assert_none(faults)


class Decisions(unittest.TestCase):
    """It is decided how each block is tested."""

    def test_each_block_has_a_decision(self) -> None:
        undecided = []
        for document in manual.documents():
            for block in manual.blocks(document):
                is_followed = block.language in ("sh", "console") and document in decisions.FOLLOWED
                decided = (decisions.NOT_RUN, decisions.TESTED, decisions.SHOWN)
                if not (is_followed or document in decisions.SHOWN_DOCUMENTS
                        or any(block.key in place for place in decided)):
                    undecided.append(f"{block}: {block.key[1]}")
        self.assertEqual(undecided, [])

    def test_each_decision_is_about_something(self) -> None:
        lines = {(document, line) for document in manual.documents()
                 for block in manual.blocks(document) for line in block.text.splitlines()}
        named = {*decisions.NOT_RUN, *decisions.TESTED, *decisions.SHOWN}
        self.assertEqual(named - lines, set())
        self.assertEqual(decisions.FOLLOWED - set(manual.documents()), set())

    def test_each_named_test_exists(self) -> None:
        sources = "".join(manual.read(name) for name in manual.files()
                          if re.fullmatch(r"tests/documents/test_\w+\.py", name))
        tests = set(re.findall(r"def (test_\w+)", sources))
        self.assertEqual(set(decisions.TESTED.values()) - tests, set())
        followed = set(re.findall(r'^    document = "?([\w./]+)"?$', sources, re.MULTILINE))
        constants = dict(re.findall(r'^([A-Z]+) = "(.*)"$', sources, re.MULTILINE))
        self.assertEqual({constants.get(name, name) for name in followed}, decisions.FOLLOWED)


class Names(unittest.TestCase):
    """What the documents list is what there is."""

    def test_the_presets(self) -> None:
        presets = json.loads(manual.read("CMakePresets.json"))["configurePresets"]
        names = [preset["name"] for preset in presets if not preset.get("hidden")]
        rows = manual.table(manual.section("docs/building.md", "Presets"))[1:]
        self.assertEqual(sorted(row[0].strip("`") for row in rows), sorted(names))

    def test_the_options_with_their_defaults_and_presets(self) -> None:
        source = manual.read("CMakeLists.txt")
        declared = set(re.findall(r"^option\((PELTO_\w+)", source, re.MULTILINE))
        declared |= set(re.findall(r"^set\((PELTO_\w+) [^)]*?\bCACHE\b", source, re.MULTILINE))
        text = manual.section("docs/building.md", "Options")
        rows = manual.table(text)[1:]
        documented = {row[0].strip("`") for row in rows}
        # One is named beside the option that it belongs to.
        documented |= {name for name in manual.quoted(text) if name.startswith("PELTO_")}
        self.assertEqual(documented, declared)

        presets = {preset["name"]: preset
                   for preset in json.loads(manual.read("CMakePresets.json"))["configurePresets"]}
        for row in rows:
            name = row[0].strip("`")
            with self.subTest(name):
                on = {preset for preset, values in presets.items()
                      if values.get("cacheVariables", {}).get(name) == "ON"}
                expected = set() if "base" in on else on
                self.assertEqual(set(manual.quoted(row[2])), expected)
                self.assertEqual(row[2] == "on", "base" in on)

    def test_the_steps(self) -> None:
        script = manual.read("scripts/test.sh")
        steps = set(re.findall(r"^step_(\w+)\(\)", script, re.MULTILINE))
        self.assertIn("docs", steps)
        head = "\n".join(re.findall(r"^#.*", script, re.MULTILINE)[:30])
        self.assertEqual({step for step in steps if not re.search(rf"\b{step}\b", head)}, set())
        for document in manual.documents():
            text = manual.read(document)
            named = set(re.findall(r"\bstep `(\w+)`", text))
            for words in re.findall(r"scripts/test\.sh((?: [a-z]+)+)(?=[ `\n]*[#`\n])", text):
                named |= set(words.split())
            with self.subTest(document):
                self.assertEqual(named - steps, set())

    def test_the_variables_of_scripts_and_builds(self) -> None:
        known: set[str] = set()
        for name in manual.files():
            if name.startswith(("scripts/", "tests/", "cmake/", "collector/web/")) or (
                    name.endswith(("CMakeLists.txt", "CMakePresets.json"))):
                found = (manual.REPOSITORY / name).read_bytes()
                known |= set(re.findall(r"\bPELTO_\w+", found.decode("utf-8", "replace")))
        for document in manual.documents():
            with self.subTest(document):
                named = set(re.findall(r"\bPELTO_\w+", manual.read(document)))
                self.assertEqual(named - known, set())

    def test_the_lines_of_the_trace(self) -> None:
        sources = "".join(manual.read(name) for name in sorted(manual.files())
                          if name.endswith((".cpp", ".h")) and not name.startswith("tests/"))
        rows = manual.table(manual.section("docs/troubleshooting.md", "A trace of the steps"))[1:]
        steps = {step for row in rows for step in manual.quoted(row[0])}
        self.assertGreater(len(steps), 15)
        self.assertEqual({step for step in steps if f'L"{step}"' not in sources}, set())

    def test_the_tests_that_the_page_about_security_names(self) -> None:
        known = check_compatibility.known_tests()
        known |= {os.path.basename(name).removesuffix(".cpp") for name in manual.files()
                  if "/fuzz_" in name}
        names = [name for row in manual.table(manual.read("docs/security.md"))
                 if row[0] != "threat" for name in row[2].split(", ") if name]
        self.assertGreater(len(names), 50)
        self.assertEqual(set(names) - known, set())

    def test_the_layers(self) -> None:
        """The folders of the sender's libraries are in the table of layers."""
        rows = manual.table(manual.section("docs/design.md", "Layers"))[1:]
        libraries = {name.split("/")[0] for name in manual.files()
                     if re.fullmatch(r"[a-z]+/CMakeLists\.txt", name)}
        libraries -= {"bench", "collector", "tests"}
        self.assertEqual({row[1].strip("`/") for row in rows}, libraries)


if __name__ == "__main__":
    unittest.main()
