#!/usr/bin/env python3
"""package.py FOLDER: packs what is built in this checkout into FOLDER, as package.sh calls it: the zip
files of the sender, and the lists of what is in them and in the collector's package there.

SOURCE_DATE_EPOCH gives the time of all of it.
"""

from __future__ import annotations

import hashlib
import io
import json
import os
import re
import subprocess
import sys
import tarfile
import time
import uuid
import zipfile
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path
from urllib.parse import quote

REPOSITORY = Path(__file__).resolve().parents[1]
BUILD = REPOSITORY / "build"
TIME = int(os.environ["SOURCE_DATE_EPOCH"])

# What is in the sender's zip file: patterns below the repository and below its build folder, and the
# folder in the zip file. Documents and samples are where the repository has them, so that the links
# in them lead somewhere.
SOURCES = (
    ("packaging/sender/README.txt", ""),
    ("CHANGELOG.md", ""),
    ("LICENSE", ""),
    ("THIRD_PARTY_NOTICES.md", ""),
    ("docs/collector.md", "docs"),
    ("docs/compatibility.md", "docs"),
    ("docs/data.md", "docs"),
    ("docs/integration.md", "docs"),
    ("docs/languages.md", "docs"),
    ("docs/languages/*", "docs/languages"),
    ("docs/security.md", "docs"),
    ("docs/server.md", "docs"),
    ("docs/troubleshooting.md", "docs"),
    ("samples/collector/nginx.conf", "samples/collector"),
    ("samples/host/*", "samples/host"),
    ("samples/language/*", "samples/language"),
)
BUILT = (
    ("windows/PELTOSender.exe", ""),
    ("windows/samples/language/*.dll", "samples/language"),
    ("web/viewer.html", ""),
)
# Parts of the samples that are of use in the repository only.
LEFT_OUT = re.compile(r"CMakeLists\.txt|SampleHost\..*\.in")


@dataclass(frozen=True)
class Part:
    """A work of others that is in a package. `place` is its address as a "package URL"; `parent` is the
    name of the part that has brought it in itself, if one has. The version may be unknown ("")."""

    name: str
    version: str
    license: str
    place: str
    parent: str = ""


def debian_part(name: str, package: str, license_: str) -> Part:
    """A part that an installed package of Debian has brought."""
    version = subprocess.run(
        ["dpkg-query", "--show", "--showformat=${Version}", package], check=True,
        capture_output=True, text=True,
    ).stdout
    return Part(name, version, license_, f"pkg:deb/debian/{package}@{quote(version, safe='')}")


def tinyxml_part() -> Part:
    """The part whose source scripts/setup.sh fetches."""
    script = (REPOSITORY / "scripts" / "setup.sh").read_text("utf-8")
    (version,) = re.findall(r"(?m)^tinyxml_version=(.+)$", script)
    place = f"pkg:deb/debian/tinyxml@{quote(version, safe='')}?arch=source"
    return Part("TinyXML", version, "Zlib", place)


def sender_parts() -> list[Part]:
    """What is linked into the sender; THIRD_PARTY_NOTICES.md has the texts."""
    return [
        tinyxml_part(),
        debian_part("GCC run-time libraries", "gcc-mingw-w64-x86-64-posix-runtime",
                    "GPL-3.0-or-later WITH GCC-exception-3.1"),
        debian_part("mingw-w64 run-time", "mingw-w64-x86-64-dev", "LicenseRef-mingw-w64-run-time"),
        debian_part("winpthreads", "mingw-w64-x86-64-dev", "MIT AND BSD-3-Clause"),
    ]


def collector_parts() -> list[Part]:
    """What is linked into the collector, or compiled into it from headers."""
    return [
        tinyxml_part(),
        debian_part("Boost", "libboost1.81-dev", "BSL-1.0"),
        debian_part("nlohmann-json", "nlohmann-json3-dev", "MIT"),
        debian_part("CLI11", "libcli11-dev", "BSD-3-Clause"),
        debian_part("CRoaring's C++ interface", "libroaring-dev", "Apache-2.0"),
        debian_part("SQLiteCpp", "libsqlitecpp-dev", "MIT"),
    ]


def page_parts() -> list[Part]:
    """What is in the pages."""
    # Two of them hold works under another license, which their own descriptions do not name.
    more = {"d3-geo": " AND MIT", "d3-scale-chromatic": " AND Apache-2.0"}
    lock = json.loads((REPOSITORY / "collector/web/package-lock.json").read_text("utf-8"))

    def npm_part(name: str, parent: str = "") -> Part:
        package = lock["packages"][f"node_modules/{name}"]
        license_ = package["license"] + more.get(name, "")
        place = f"pkg:npm/{quote(name)}@{package['version']}"
        return Part(name, package["version"], license_, place, parent)

    parts = [npm_part(name) for name in json.loads((BUILD / "web-packages.json").read_text("utf-8"))]
    # It was published with these two in its own file.
    if any(part.name == "d3-array" for part in parts):
        parts.append(npm_part("internmap", "d3-array"))
        parts.append(Part("quickselect", "", "ISC", "pkg:github/mourner/quickselect", "d3-array"))
    return parts


def program_version() -> str:
    """The version of everything that is built here."""
    cmake = (REPOSITORY / "CMakeLists.txt").read_text("utf-8")
    (version,) = re.findall(r"(?m)^project\(PELTOSender VERSION ([0-9.]+)", cmake)
    return version


def sender_files() -> dict[str, Path]:
    """What is in the sender's zip file: the name there, and the file."""
    # A text to which THIRD_PARTY_NOTICES.md refers.
    files = {"licenses/Apache-2.0.txt": Path("/usr/share/common-licenses/Apache-2.0")}
    for root, patterns in ((REPOSITORY, SOURCES), (BUILD, BUILT)):
        for pattern, folder in patterns:
            found = [path for path in root.glob(pattern)
                     if path.is_file() and not LEFT_OUT.fullmatch(path.name)]
            if not found:
                raise SystemExit(f"there is no {root / pattern}")
            files |= {str(Path(folder, path.name)): path for path in found}
    return files


def write_zip(path: Path, files: dict[str, Path]) -> None:
    """Packs files under their names there."""
    with zipfile.ZipFile(path, "w") as packed:
        for name in sorted(files):
            entry = zipfile.ZipInfo(name, time.gmtime(TIME)[:6])
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = 0o644 << 16
            packed.writestr(entry, files[name].read_bytes(), compresslevel=9)


def contents(package: Path) -> dict[str, bytes]:
    """The files in a zip file or in a package of Debian, by their names there."""
    if package.suffix == ".zip":
        with zipfile.ZipFile(package) as packed:
            return {name: packed.read(name) for name in packed.namelist()}
    data = subprocess.run(["dpkg-deb", "--fsys-tarfile", package], check=True, capture_output=True)
    with tarfile.open(fileobj=io.BytesIO(data.stdout)) as unpacked:
        files = {entry.name: unpacked.extractfile(entry) for entry in unpacked}
    return {name.removeprefix("./"): file.read() for name, file in files.items() if file}


def spdx_package(number: int, name: str, version: str, license_: str) -> dict[str, object]:
    """An SPDX package."""
    return {
        "SPDXID": f"SPDXRef-Package-{number}", "name": name,
        **({"versionInfo": version} if version else {}),
        "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": license_,
        "licenseDeclared": license_, "copyrightText": "NOASSERTION",
    }


def spdx_file(number: int, name: str, data: bytes) -> dict[str, object]:
    """An SPDX file."""
    return {
        "SPDXID": f"SPDXRef-File-{number}", "fileName": f"./{name}",
        "checksums": [
            {"algorithm": "SHA1", "checksumValue": hashlib.sha1(data).hexdigest()},
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(data).hexdigest()},
        ],
        "licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION",
    }


def extracted_licenses(parts: Sequence[Part]) -> list[dict[str, str]]:
    """The licenses that SPDX has no name for, with the text of the section on the part."""
    notices = (REPOSITORY / "THIRD_PARTY_NOTICES.md").read_text("utf-8")
    sections = dict(re.findall(r"(?ms)^## (.*?)\n(.*?)(?=^## |\Z)", notices))
    return [
        {"licenseId": part.license, "name": part.name, "extractedText": sections[part.name].strip()}
        for part in parts if part.license.startswith("LicenseRef-")
    ]


def write_spdx(path: Path, name: str, parts: Sequence[Part]) -> None:
    """Writes what is in the package `path` beside it."""
    checksum = hashlib.sha256(path.read_bytes()).hexdigest()
    files = [spdx_file(i, *file) for i, file in enumerate(sorted(contents(path).items()))]
    sums = sorted(file["checksums"][0]["checksumValue"] for file in files)
    shipped = spdx_package(0, name, program_version(), "MIT") | {
        "packageFileName": path.name,
        # It has the works of others in it.
        "licenseConcluded": "NOASSERTION",
        "checksums": [{"algorithm": "SHA256", "checksumValue": checksum}],
        "filesAnalyzed": True,
        "packageVerificationCode": {
            "packageVerificationCodeValue": hashlib.sha1("".join(sums).encode()).hexdigest(),
        },
    }
    packages = [shipped]
    for number, part in enumerate(parts, 1):
        reference = {"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                     "referenceLocator": part.place}
        packages.append(spdx_package(number, part.name, part.version, part.license)
                        | {"externalRefs": [reference]})
    names = {"": shipped["SPDXID"]} | {each["name"]: each["SPDXID"] for each in packages[1:]}
    contained = [(names[part.parent], names[part.name]) for part in parts]
    contained += [(shipped["SPDXID"], file["SPDXID"]) for file in files]
    document = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": path.name,
        "documentNamespace": uuid.uuid5(uuid.NAMESPACE_OID, checksum).urn,
        "creationInfo": {
            "created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(TIME)),
            "creators": [f"Tool: package.py-{program_version()}"],
        },
        "packages": packages,
        "files": files,
        "relationships": [
            {"spdxElementId": element, "relationshipType": kind, "relatedSpdxElement": other}
            for element, kind, other in [
                ("SPDXRef-DOCUMENT", "DESCRIBES", shipped["SPDXID"]),
                *((element, "CONTAINS", other) for element, other in contained),
            ]
        ],
        "hasExtractedLicensingInfos": extracted_licenses(parts),
    }
    path.with_name(path.name + ".spdx.json").write_text(
        json.dumps(document, indent=2) + "\n", "utf-8"
    )


def main() -> None:
    """Packs everything."""
    output = Path(sys.argv[1])
    version = program_version()
    sender = output / f"PELTOSender-{version}-windows-x64.zip"
    write_zip(sender, sender_files())
    symbols = BUILD / "windows" / "PELTOSender.exe.debug"
    write_zip(output / f"{sender.stem}-symbols.zip", {symbols.name: symbols})
    write_spdx(sender, "PELTOSender", [*sender_parts(), *page_parts()])
    collector = output / f"pelto-collector_{version}_amd64.deb"
    write_spdx(collector, "pelto-collector", [*collector_parts(), *page_parts()])


if __name__ == "__main__":
    main()
