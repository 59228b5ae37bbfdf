"""What scripts/package.sh has made in build/package: whether it is whole, belongs together and says
what is in it."""

from __future__ import annotations

import hashlib
import json
import posixpath
import re
import shutil
import struct
import subprocess
import tempfile
import unittest
import zipfile
import zlib
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
PACKAGES = REPOSITORY / "build" / "package"
MINGW = "x86_64-w64-mingw32-"
# The beginning of a version resource's numbers.
FIXED_FILE_INFO = struct.pack("<I", 0xFEEF04BD)
# Where debug symbols say that the sources are.
SOURCES = "/usr/src/pelto"
DOCUMENTATION = "usr/share/doc/pelto-collector/"

# The names that SPDX has for the licenses in the lists.
LICENSES = {
    "Apache-2.0", "BSD-3-Clause", "BSL-1.0", "GCC-exception-3.1", "GPL-3.0-or-later", "ISC", "MIT",
    "Zlib",
}

# Parts that are in another part, by the name of which.
PARENTS = {"internmap": "d3-array", "quickselect": "d3-array"}


def release(pattern: str) -> Path:
    """The one file of the release whose name matches."""
    (path,) = PACKAGES.glob(pattern)
    return path


def sender() -> Path:
    """The zip file for integrators."""
    return release("PELTOSender-*-windows-x64.zip")


def symbols() -> Path:
    """The zip file with the debug symbols."""
    return release("PELTOSender-*-symbols.zip")


def collector() -> Path:
    """The collector's package."""
    return release("pelto-collector_*_amd64.deb")


def collector_symbols() -> Path:
    """The package with the collector's debug symbols."""
    return release("pelto-collector-dbgsym_*_amd64.deb")


def output(*command: str | Path) -> str:
    """What a command prints; it must succeed."""
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def project_version() -> str:
    """The version as the build file has it."""
    (version,) = re.findall(r"(?m)^project\(\S+ VERSION (\S+)",
                            (REPOSITORY / "CMakeLists.txt").read_text("utf-8"))
    return version


class ReleaseTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(tempfile.mkdtemp(prefix="pelto-release-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def unpacked(self, package: Path) -> Path:
        """A new folder with what is in a zip file or a package of Debian."""
        folder = self.folder / package.name
        if package.suffix == ".zip":
            with zipfile.ZipFile(package) as packed:
                packed.extractall(folder)
        else:
            output("dpkg-deb", "--extract", package, folder)
        return folder

    def files(self, package: Path) -> dict[str, bytes]:
        """The files in a package, by their names there."""
        folder = self.unpacked(package)
        return {str(path.relative_to(folder)): path.read_bytes()
                for path in folder.rglob("*") if path.is_file()}


class Release(ReleaseTest):
    def test_the_checksums_are_those_of_all_files(self) -> None:
        lines = (PACKAGES / "SHA256SUMS").read_text().splitlines()
        found = {path.name: hashlib.sha256(path.read_bytes()).hexdigest()
                 for path in PACKAGES.iterdir() if path.name != "SHA256SUMS"}
        self.assertEqual(dict(reversed(line.split("  ")) for line in lines), found)
        self.assertEqual(len(found), 6)

    def test_everything_has_the_same_version(self) -> None:
        version = project_version()
        program = self.files(sender())["PELTOSender.exe"]
        at = program.index(FIXED_FILE_INFO)
        for number in struct.iter_unpack("<HHHH", program[at + 8:at + 24]):
            self.assertEqual(f"{number[1]}.{number[0]}.{number[3]}.{number[2]}", version)
        self.assertIn(f'name="PELTOSender" version="{version}"'.encode(), program)
        self.assertEqual(sender().name, f"PELTOSender-{version}-windows-x64.zip")
        self.assertEqual(symbols().name, f"PELTOSender-{version}-windows-x64-symbols.zip")

        self.assertEqual(collector().name, f"pelto-collector_{version}_amd64.deb")
        for package in (collector(), collector_symbols()):
            self.assertEqual(output("dpkg-deb", "--field", package, "Version").strip(), version)
        folder = self.unpacked(collector())
        self.assertEqual(output(folder / "usr/bin/pelto-collector", "--version"),
                         f"pelto-collector {version}\n")
        changelog = output("gzip", "-cd", folder / DOCUMENTATION / "changelog.gz")
        self.assertEqual(changelog.partition(")")[0], f"pelto-collector ({version}")
        # The latest section of the users' changelog is that of this version.
        news = self.files(sender())["CHANGELOG.md"].decode()
        self.assertEqual(re.findall(r"(?m)^## ([^, \n]+)", news)[0], version)
        for path in PACKAGES.glob("*.spdx.json"):
            self.assertEqual(json.loads(path.read_text())["packages"][0]["versionInfo"], version)

    def test_the_package_depends_on_what_has_the_program_s_libraries(self) -> None:
        program = self.unpacked(collector()) / "usr/bin/pelto-collector"
        libraries = re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "--dynamic", program))
        self.assertGreater(len(libraries), 5)
        depends = output("dpkg-deb", "--field", collector(), "Depends")
        needed = {re.split("[ \n]", each)[0] for each in depends.split(", ")}
        found = output("dpkg-query", "--search",
                       *(f"*/x86_64-linux-gnu/{library}" for library in libraries))
        owners = {library: owner for owner, library in re.findall(r"(?m)^([^:]+):.*/(\S+)$", found)}
        for library in libraries:
            self.assertIn(owners[library], needed)

    def test_the_description_is_one_paragraph(self) -> None:
        """Lines that begin with two spaces would be shown as they are, and not be wrapped."""
        lines = output("dpkg-deb", "--field", collector(), "Description").splitlines()
        self.assertGreater(len(lines), 2)
        for line in lines[1:]:
            self.assertRegex(line, "^ [^ ]")

    def test_the_installed_size_is_that_of_the_files(self) -> None:
        for package in (collector(), collector_symbols()):
            # In units of 1024 bytes, of which each file takes whole ones.
            expected = sum(-(-path.lstat().st_size // 1024) for path in self.unpacked(package).rglob("*")
                           if path.is_file() and not path.is_symlink())
            size = output("dpkg-deb", "--field", package, "Installed-Size")
            self.assertEqual(int(size), expected, package.name)

    def test_no_file_names_a_folder_of_the_machine_that_built_it(self) -> None:
        """Nor a symbol that a tool made from its path."""
        folders = {str(path).encode() for path in (REPOSITORY, (REPOSITORY / "build/deps").resolve())}
        for package in (sender(), symbols(), collector(), collector_symbols()):
            for name, data in self.files(package).items():
                with self.subTest(package=package.name, file=name):
                    self.assertEqual([folder for folder in folders if folder in data], [])
                    self.assertEqual(re.findall(rb"pelto[-_]package[._]\w{8,}", data)[:3], [])


class Documents(ReleaseTest):
    def assert_links_lead_somewhere(self, files: set[str], folder: Path) -> None:
        names = files | {posixpath.dirname(name) for name in files}
        count = 0
        for document in sorted(name for name in files if name.endswith(".md")):
            for link in re.findall(r"\]\(([^)\s]+)\)", (folder / document).read_text("utf-8")):
                path = link.partition("#")[0]
                if path and not re.match(r"[a-z]+:", link):
                    count += 1
                    target = posixpath.normpath(posixpath.join(posixpath.dirname(document), path))
                    with self.subTest(document=document, link=link):
                        self.assertIn(target, names)
        self.assertGreater(count, 5)

    def test_links_in_the_zip_file_lead_to_files_in_it(self) -> None:
        self.assert_links_lead_somewhere(set(self.files(sender())), self.unpacked(sender()))

    def test_links_in_the_package_lead_to_files_in_it(self) -> None:
        self.assert_links_lead_somewhere(set(self.files(collector())), self.unpacked(collector()))

    def test_the_first_page_tells_what_each_file_in_the_zip_file_is(self) -> None:
        files = self.files(sender())
        told = re.findall(r"(?m)^(\S+)   *\S", files.pop("README.txt").decode())
        for name in files:
            self.assertTrue([entry for entry in told
                             if name == entry or entry.endswith("/") and name.startswith(entry)], name)
        for entry in told:
            self.assertTrue([name for name in files if name.startswith(entry)], entry)
        self.assertIn("PELTOSender.exe", told)

    def test_the_license_to_which_the_notices_refer_is_in_the_zip_file(self) -> None:
        files = self.files(sender())
        (name,) = re.findall(r"`(licenses/\S+)`", files["THIRD_PARTY_NOTICES.md"].decode())
        self.assertIn(b"TERMS AND CONDITIONS FOR USE, REPRODUCTION, AND DISTRIBUTION", files[name])

    def test_the_samples_build_as_they_are_in_the_zip_file(self) -> None:
        """By the commands in their documents, which are a block of their own."""
        for sample, kind in (("host", "exe"), ("language", "dll")):
            folder = self.unpacked(sender()) / "samples" / sample
            text = (folder / "README.md").read_text("utf-8")
            blocks = re.findall(r"(?ms)^```sh\n(.*?)^```|((?:^    [^\n]*\n)+)", text)
            commands = "".join(block for pair in blocks for block in pair if MINGW in block)
            with self.subTest(sample):
                for built in folder.glob(f"*.{kind}"):
                    built.unlink()
                subprocess.run(["sh", "-e", "-c", commands], cwd=folder, check=True)
                self.assertTrue(list(folder.glob(f"*.{kind}")))


class Symbols(ReleaseTest):
    def setUp(self) -> None:
        super().setUp()
        self.program = self.unpacked(sender()) / "PELTOSender.exe"
        self.symbols = self.unpacked(symbols()) / "PELTOSender.exe.debug"

    def address_of(self, name: str) -> str:
        """Where a function of the program is."""
        names = output(f"{MINGW}nm", "--defined-only", self.symbols)
        (address,) = re.findall(rf"(?m)^([0-9a-f]+) T {name}$", names)
        return address

    def resolve(self, address: str) -> str:
        """Function, file and line at an address, of the program itself: the tool looks for the symbols
        that it names, and takes none with another checksum."""
        return output(f"{MINGW}addr2line", "-f", "-e", self.program, address)

    def test_the_program_has_none(self) -> None:
        done = subprocess.run([f"{MINGW}nm", self.program], capture_output=True, text=True, check=False)
        self.assertEqual(done.stdout, "")
        self.assertIn("no symbols", done.stderr)

    def test_the_program_names_its_symbols_and_their_checksum(self) -> None:
        # The section's content: the name, zeros up to a multiple of four bytes, the checksum.
        name = self.symbols.name.encode() + b"\0"
        program = self.program.read_bytes()
        at = program.index(name) + -(-len(name) // 4) * 4
        self.assertEqual(struct.unpack_from("<I", program, at)[0],
                         zlib.crc32(self.symbols.read_bytes()))

    def test_beside_the_program_they_tell_function_and_line(self) -> None:
        address = self.address_of("wWinMain")
        self.assertEqual(self.resolve(address), "??\n??:0\n")
        shutil.copy(self.symbols, self.program.parent)
        self.assertRegex(self.resolve(address), rf"^wWinMain\n{SOURCES}/app/Main\.cpp:\d+\n$")

    def test_those_of_another_build_are_not_taken(self) -> None:
        data = self.symbols.read_bytes()
        (self.program.parent / self.symbols.name).write_bytes(data + b"\0")
        self.assertEqual(self.resolve(self.address_of("wWinMain")), "??\n??:0\n")

    def test_the_collectors_belong_to_it(self) -> None:
        program = self.unpacked(collector()) / "usr/bin/pelto-collector"
        (number,) = re.findall(r"Build ID: ([0-9a-f]+)", output("readelf", "--notes", program))
        found = (self.unpacked(collector_symbols()) / "usr/lib/debug/.build-id" / number[:2]
                 / f"{number[2:]}.debug")
        self.assertIn(f"Build ID: {number}", output("readelf", "--notes", found))
        self.assertEqual(found.stat().st_mode & 0o777, 0o644)
        (address,) = re.findall(r"(?m)^([0-9a-f]+) T main$", output("nm", found))
        self.assertRegex(output("addr2line", "-f", "-e", found, address),
                         rf"^main\n{SOURCES}/collector/main\.cpp:\d+\n$")
        self.assertEqual(output("dpkg-deb", "--field", collector_symbols(), "Depends").strip(),
                         f"pelto-collector (= {project_version()})")


class Lists(ReleaseTest):
    """The SPDX documents, with what version 2.3 asks of each part of them."""

    def setUp(self) -> None:
        super().setUp()
        self.documents = [(path, json.loads(path.with_name(path.name + ".spdx.json").read_text()))
                          for path in (sender(), collector())]

    def test_each_document_has_its_fields(self) -> None:
        for path, document in self.documents:
            with self.subTest(path.name):
                self.assertEqual(
                    (document["spdxVersion"], document["dataLicense"], document["SPDXID"],
                     document["name"]),
                    ("SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT", path.name))
                self.assertRegex(document["documentNamespace"], r"^urn:uuid:[0-9a-f-]{36}$")
                creation = document["creationInfo"]
                self.assertRegex(creation["created"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
                self.assertEqual(creation["creators"], [f"Tool: package.py-{project_version()}"])
        self.assertNotEqual(*(document["documentNamespace"] for _, document in self.documents))

    def test_elements_have_names_of_their_own_that_relationships_use(self) -> None:
        for path, document in self.documents:
            with self.subTest(path.name):
                elements = document["packages"] + document["files"]
                names = [element["SPDXID"] for element in elements]
                self.assertEqual(len(set(names)), len(names))
                for name in names:
                    self.assertRegex(name, r"^SPDXRef-[A-Za-z0-9.-]+$")
                shipped, *others = (element["name"] for element in document["packages"])
                others += [file["fileName"] for file in document["files"]]
                for name in PARENTS:
                    others.remove(name)
                called = {element["SPDXID"]: element.get("name", element.get("fileName"))
                          for element in elements} | {"SPDXRef-DOCUMENT": "document"}
                self.assertEqual(
                    sorted((called[each["spdxElementId"]], each["relationshipType"],
                            called[each["relatedSpdxElement"]])
                           for each in document["relationships"]),
                    sorted([("document", "DESCRIBES", shipped),
                            *((shipped, "CONTAINS", name) for name in others),
                            *((parent, "CONTAINS", name) for name, parent in PARENTS.items())]))

    def test_licenses_are_those_that_spdx_knows_or_have_their_text(self) -> None:
        for path, document in self.documents:
            own = {each["licenseId"] for each in document["hasExtractedLicensingInfos"]}
            for each in document["hasExtractedLicensingInfos"]:
                self.assertGreater(len(each["extractedText"]), 100)
            used = set()
            shipped, *parts = document["packages"]
            self.assertEqual((shipped["licenseConcluded"], shipped["licenseDeclared"]),
                             ("NOASSERTION", "MIT"))
            for package in parts:
                with self.subTest(list=path.name, package=package["name"]):
                    for license_ in (package["licenseConcluded"], package["licenseDeclared"]):
                        names = re.split(" (?:AND|WITH) ", license_)
                        self.assertLessEqual(set(names), LICENSES | own)
                        used |= set(names)
            self.assertLessEqual(own, used)

    def test_all_files_are_listed_with_their_checksums(self) -> None:
        for path, document in self.documents:
            with self.subTest(path.name):
                expected = {}
                for name, data in self.files(path).items():
                    expected[f"./{name}"] = {"SHA1": hashlib.sha1(data).hexdigest(),
                                             "SHA256": hashlib.sha256(data).hexdigest()}
                found = {file["fileName"]: {each["algorithm"]: each["checksumValue"]
                                            for each in file["checksums"]}
                         for file in document["files"]}
                self.assertEqual(found, expected)
                shipped = document["packages"][0]
                self.assertEqual(shipped["packageFileName"], path.name)
                self.assertEqual(shipped["checksums"][0]["checksumValue"],
                                 hashlib.sha256(path.read_bytes()).hexdigest())
                sums = "".join(sorted(each["SHA1"] for each in expected.values()))
                self.assertEqual(shipped["packageVerificationCode"]["packageVerificationCodeValue"],
                                 hashlib.sha1(sums.encode()).hexdigest())

    def test_each_part_has_a_version_an_address_and_its_notice(self) -> None:
        notices = (REPOSITORY / "THIRD_PARTY_NOTICES.md").read_text("utf-8").lower()
        notices = " ".join(notices.split())
        for path, document in self.documents:
            parts = document["packages"][1:]
            self.assertGreater(len(parts), 10)
            for part in parts:
                with self.subTest(list=path.name, part=part["name"]):
                    self.assertFalse(part["filesAnalyzed"])
                    self.assertEqual(part["downloadLocation"], "NOASSERTION")
                    (reference,) = part["externalRefs"]
                    self.assertRegex(reference["referenceLocator"],
                                     r"^pkg:((deb/debian|npm)/[\w%./-]+@[\w.%~-]+(\?arch=source)?"
                                     "|github/mourner/quickselect)$")
                    named = part["name"].replace("@observablehq/plot", "Observable Plot").lower()
                    if reference["referenceLocator"].startswith("pkg:npm/"):
                        named += f" {part['versionInfo']}"
                    self.assertTrue(named in notices, named)

    def test_the_notices_name_everybody_whom_the_pages_packages_name(self) -> None:
        """In their licenses, and in the files in which packages of D3 are published, which have works of
        others in them."""
        notices = (REPOSITORY / "THIRD_PARTY_NOTICES.md").read_text("utf-8")
        holders = set()
        for part in self.documents[0][1]["packages"][1:]:
            if part["externalRefs"][0]["referenceLocator"].startswith("pkg:npm/"):
                folder = REPOSITORY / "collector/web/node_modules" / part["name"]
                texts = [(folder / "LICENSE").read_text("utf-8")]
                # After the first line, which repeats the license.
                texts += [path.read_text("utf-8").partition("\n")[2] for path in folder.glob("dist/*.mjs")]
                for text in texts:
                    holders |= set(re.findall(r"Copyright (?:\d+-)?(\d+),? (.+?)\.?\n", text))
        self.assertIn(("2018", "Vladimir Agafonkin"), holders)
        missing = [holder for holder in holders if not re.search(
            rf"Copyright (\d+-)?{holder[0]} {re.escape(holder[1])}", notices)]
        self.assertEqual(missing, [])


if __name__ == "__main__":
    unittest.main()
