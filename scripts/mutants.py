#!/usr/bin/env python3
"""Breaks the program on purpose, one small fault at a time, and reports which test catches each.

  scripts/mutants.py                every fault of the table (about half an hour)
  scripts/mutants.py --list         the table
  scripts/mutants.py MUTANT...      some of them, by number or name

A fault that no test catches is a gap in the tests. The faults are made in a copy of the files under
build/mutants, so the sources stay as they are. Before a suite of tests judges its first fault, it
must pass on the sound program. A suite that takes much longer than it did there counts as having
caught the fault: the program hangs. What a suite wrote when it last failed is in build/mutants. The
last line is "N caught, N survived", and the exit code is 0 only when all were caught.
"""

from __future__ import annotations

import argparse
import contextlib
import filecmp
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parent.parent
TREE = REPOSITORY / "build" / "mutants" / "tree"

# A suite is "native FOLDER" or "windows FOLDER" for a folder's unit tests, "fuzz TARGET" (20 s of
# fuzzing, as scripts/test.sh does) or "e2e MODULE".
FUZZ_LOG = "fuzz log_reader"
LOG_HANDLE = "e2e test_log_handle"
UPLOAD = "e2e test_upload"
SURVEY = "e2e test_survey"
DIALOG = "e2e test_dialog"
TLS = "e2e test_tls"

SOUND_RUN_LIMIT = 900
BUILD_LIMIT = 900


@dataclass(frozen=True)
class Mutant:
    """One fault: `old`, which must be in `file` exactly once, becomes `new`. White space in `old`
    matches any white space, so that a line may be broken elsewhere. The suites run in their order
    until one fails."""

    name: str
    file: str
    old: str
    new: str
    suites: tuple[str, ...]


MUTANTS = (
    # app
    Mutant("optional-argument-must-not-be-empty", "app/CommandLine.cpp",
           "argument.empty() && !parameter.mayBeEmpty", "argument.empty()",
           ("native app", UPLOAD)),
    Mutant("sends-for-users-who-asked-to-be-reminded", "app/RunController.cpp",
           "if (consentState != TakesPart) return 0;", "",
           ("windows app", UPLOAD)),
    Mutant("transmission-is-not-dated", "app/RunController.cpp",
           "store_->StampTransmission();", "",
           ("windows app", UPLOAD)),
    Mutant("reminder-waits-milliseconds", "app/RunController.cpp",
           "clock_.Wait(ReminderDelay);", "clock_.Wait(ReminderDelay / 1000);",
           ("windows app", DIALOG)),
    Mutant("data-folder-is-not-made", "app/RunController.cpp",
           "CreateFolderPath(dataFolder_);", "",
           ("windows app", LOG_HANDLE)),
    Mutant("reports-the-file-version", "app/ProductVersion.cpp",
           "HIWORD(info.dwProductVersionMS)", "HIWORD(info.dwFileVersionMS)",
           ("windows app", UPLOAD)),
    # framework
    Mutant("owner-stays-enabled", "framework/DialogEx.cpp",
           "disabledOwner(owner);", "disabledOwner(nullptr);",
           ("windows framework",)),
    Mutant("window-is-detached-too-early", "framework/Wnd.cpp",
           "message == WM_NCDESTROY", "message == WM_DESTROY",
           ("windows framework", "windows ui")),
    Mutant("points-left-of-the-screen-are-unsigned", "framework/Wnd.cpp",
           "static_cast<SHORT>(LOWORD(", "static_cast<int>(LOWORD(",
           ("windows framework",)),
    Mutant("window-is-centered-beyond-the-screen", "framework/Wnd.cpp",
           "left = std::max(area.left, std::min(left, area.right - width));", "",
           ("windows framework",)),
    Mutant("own-resources-come-first", "framework/WinApp.cpp",
           "{resourceModule, instanceModule}", "{instanceModule, resourceModule}",
           ("windows framework", "windows ui", DIALOG)),
    # platform
    Mutant("gates-compare-utc", "platform/SystemClock.cpp",
           "SystemTimeToFileTime(&localTime, &ticks)", "SystemTimeToFileTime(&utcTime, &ticks)",
           ("windows platform", "windows store")),
    Mutant("text-is-read-in-code-page-1252", "platform/AnsiText.cpp",
           "MultiByteToWideChar(CP_ACP, 0,", "MultiByteToWideChar(1252, 0,",
           ("windows platform", "windows usage", "windows store")),
    Mutant("number-passes-its-limit", "platform/DecimalText.cpp",
           "(limit - digit) / 10", "limit / 10",
           ("native platform", LOG_HANDLE)),
    Mutant("drive-is-made-as-a-folder", "platform/FolderSteps.cpp",
           "colon + 2", "colon + 1",
           ("native platform", LOG_HANDLE)),
    Mutant("file-passes-for-a-folder", "platform/FolderPath.cpp",
           "attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0",
           "attributes != INVALID_FILE_ATTRIBUTES",
           ("windows platform",)),
    # store
    Mutant("gate-is-closed-at-its-limit", "store/DateGate.cpp",
           "!(limit > ComputeAgeInSeconds(now, *stored))",
           "ComputeAgeInSeconds(now, *stored) > limit",
           ("native store", "windows store")),
    Mutant("future-date-closes-its-gate", "store/DateGate.cpp",
           "static_cast<double>(now - stored)",
           "(static_cast<double>(now) - static_cast<double>(stored))",
           ("native store", "windows store")),
    Mutant("identifier-has-a-category", "store/ReportDocument.cpp",
           "AddProperty(section, IdentifierProperty, installationIdentifier);",
           'SetAttribute(AddProperty(section, IdentifierProperty, installationIdentifier),'
           ' CategoryAttribute, L"");',
           ("native store", LOG_HANDLE)),
    Mutant("opened-count-is-loaded-from-saved", "store/ReportDocument.cpp",
           "element.Attribute(OpenedAttribute)", "element.Attribute(SavedAttribute)",
           ("native store", LOG_HANDLE)),
    Mutant("properties-of-one-joined-text-are-one", "store/SystemProperties.cpp",
           "a.name < b.name", "false",
           ("native store", LOG_HANDLE)),
    Mutant("nesting-limit-is-one-less", "store/ReportShape.cpp",
           "++depth_ > DepthLimit", "++depth_ >= DepthLimit",
           ("native store",)),
    Mutant("report-is-saved-as-binary", "store/ReportStore.cpp",
           'L"w"', 'L"wb"',
           ("windows store", LOG_HANDLE)),
    Mutant("one-attempt-more-for-a-held-report", "store/ReportStore.cpp",
           "attempt < LockAttempts", "attempt <= LockAttempts",
           ("windows store",)),
    Mutant("never-shown-dialog-is-not-dated", "store/ReportStore.cpp",
           "StampDialog(); return false;", "return false;",
           ("windows store", DIALOG)),
    Mutant("no-answer-means-yes", "store/ReportStore.cpp",
           "DefaultConsentState = 2", "DefaultConsentState = 1",
           ("windows store", LOG_HANDLE)),
    # usage
    Mutant("blank-line-is-skipped", "usage/LogLineReader.cpp",
           "if (line.empty())", "if (line.empty() && (isExhausted_ || isEnded_))",
           ("native usage", LOG_HANDLE)),
    Mutant("empty-path-gives-no-event", "usage/LogLineReader.cpp",
           "pathLine.size() < LogPrefixLength", "pathLine.size() <= LogPrefixLength",
           ("native usage", LOG_HANDLE)),
    Mutant("line-limit-is-one-less", "usage/LogLineReader.cpp",
           "if (line.size() > LineLimit)", "if (line.size() >= LineLimit)",
           ("native usage", LOG_HANDLE)),
    Mutant("carriage-return-before-the-end-is-dropped", "usage/LogLineReader.cpp",
           "hasLineFeed && line.ends_with(CarriageReturn)", "line.ends_with(CarriageReturn)",
           ("native usage", LOG_HANDLE)),
    Mutant("nul-moves-with-the-next-read", "usage/LogLineReader.cpp",
           "if (textEnd != nullptr) textEnd = begin_ + text;", "",
           ("native usage", "windows usage", FUZZ_LOG, LOG_HANDLE)),
    Mutant("nul-bytes-are-no-marks", "usage/MarkFinder.cpp",
           "_mm_set1_epi8(Nul)", "_mm_set1_epi8(LineFeed)",
           ("native usage", FUZZ_LOG, LOG_HANDLE)),
    Mutant("last-block-is-one-byte-short", "usage/MarkFinder.cpp",
           "FindMarksOneByOne(block_, to_ - block_)", "FindMarksOneByOne(block_, to_ - block_ - 1)",
           ("native usage", FUZZ_LOG, LOG_HANDLE)),
    Mutant("command-without-a-place-is-remembered", "usage/EventCounter.cpp",
           "if (entry.order != 0)", "",
           ("native usage",)),
    Mutant("middles-of-long-names-are-equal", "usage/EntryTable.h",
           "(name.size() <= ShortSize || HasMiddle(longNames_[slot.longName], name))", "true",
           ("native usage",)),
    Mutant("lengths-of-names-are-equal", "usage/EntryTable.h",
           "slot.size == name.size() &&", "",
           ("native usage",)),
    Mutant("last-loaded-order-wins", "usage/CommandStats.cpp",
           "std::max(lastOrder_, loaded.order)", "loaded.order",
           ("native usage", LOG_HANDLE)),
    Mutant("log-in-use-is-read", "usage/LogHarvester.cpp",
           "GENERIC_READ, FILE_SHARE_READ,", "GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,",
           ("windows usage", LOG_HANDLE)),
    Mutant("log-in-use-ends-the-harvest", "usage/LogHarvester.cpp",
           "path); continue;", "path); break;",
           ("windows usage", LOG_HANDLE)),
    # survey
    Mutant("monitor-query-has-one-space", "survey/SystemInformation.cpp",
           "FROM  Win32_DesktopMonitor", "FROM Win32_DesktopMonitor",
           ("native survey",)),
    Mutant("disks-end-at-a-drive-without-a-disk", "survey/SystemInformation.cpp",
           "if (size == nullptr) continue;", "if (size == nullptr) break;",
           ("native survey",)),
    Mutant("last-connected-adapter-is-described", "survey/SystemInformation.cpp",
           "adapter != nullptr && deviceId == nullptr", "adapter != nullptr",
           ("native survey",)),
    Mutant("name-and-category-are-swapped", "survey/SystemInformation.cpp",
           "set(property->name, category->GetName(), property->value)",
           "set(category->GetName(), property->name, property->value)",
           ("native survey", SURVEY)),
    Mutant("truth-values-are-numbers", "survey/VariantText.cpp",
           "VARIANT_ALPHABOOL", "0",
           ("windows survey",)),
    Mutant("third-row-replaces-the-second", "survey/WmiQueryEngine.cpp",
           "&row->GetOrAddNextRow()", "&firstRow->GetOrAddNextRow()",
           ("windows survey",)),
    # upload
    Mutant("content-disposition-has-a-large-d", "upload/MultipartForm.cpp",
           'L"Content-disposition: form-data', 'L"Content-Disposition: form-data',
           ("native upload", UPLOAD)),
    Mutant("form-length-lacks-a-footer", "upload/MultipartForm.cpp",
           "value.size() + FormatPartFooter().size()", "value.size()",
           ("native upload", UPLOAD)),
    Mutant("path-may-be-as-long-as-its-limit", "upload/UploadAddress.cpp",
           "result.path.size() < PathLimit", "result.path.size() <= PathLimit",
           ("native upload", UPLOAD)),
    Mutant("status-code-counts-beside-the-body", "upload/DeliveryVerdict.cpp",
           "ParseInt32(body) == Delivered", "ParseInt32(body) == Delivered && statusCode == Delivered",
           ("native upload", UPLOAD)),
    Mutant("payload-ends-with-nul", "upload/ReportPayload.cpp",
           "payload.empty() ? '\\0' : payload.back()", "'\\0'",
           ("native upload", UPLOAD)),
    Mutant("scheme-decides-on-tls", "upload/MultipartSender.cpp",
           "address->port == TlsPort", 'address->protocol == L"https"',
           ("windows upload", TLS)),
    Mutant("proxy-of-the-system-is-not-used", "upload/MultipartSender.cpp",
           "INTERNET_OPEN_TYPE_PRECONFIG", "INTERNET_OPEN_TYPE_DIRECT",
           ("windows upload", UPLOAD)),
    Mutant("cancel-request-is-seen-once", "upload/UploadNotifier.cpp",
           "SetEvent(cancel_); return true;", "return true;",
           ("windows upload",)),
    Mutant("report-stays-open-during-the-upload", "upload/UploadJob.cpp",
           "store.CloseReport();", "",
           ("windows upload", UPLOAD)),
    Mutant("report-is-read-as-binary", "upload/UploadJob.cpp",
           'L"r"', 'L"rb"',
           ("windows upload", UPLOAD)),
    # ui
    Mutant("first-dot-decides-on-the-address", "ui/ConsentAnswer.cpp",
           "typed.rfind(L'.')", "typed.find(L'.')",
           ("native ui", DIALOG)),
    Mutant("unknown-state-preselects-no", "ui/ConsentAnswer.h",
           "return state != 2;", "return state == 1;",
           ("native ui", DIALOG)),
    Mutant("address-is-kept-with-yes-only", "ui/PeltoDialog.cpp",
           "settings_->SetEmail(answer.email);",
           "if (answer.state == 1) settings_->SetEmail(answer.email);",
           ("windows ui", DIALOG)),
    Mutant("silence-box-is-inverted", "ui/PeltoDialog.cpp",
           "!settings_->GetShowMessage()", "settings_->GetShowMessage()",
           ("windows ui", DIALOG)),
    Mutant("link-is-one-pixel-wider-than-its-text", "ui/HyperlinkStatic.cpp",
           "point.x < textExtent_.cx", "point.x <= textExtent_.cx",
           ("windows ui",)),
    Mutant("link-gets-no-mouse-messages", "ui/HyperlinkStatic.cpp",
           "ModifyStyle(0, SS_NOTIFY);", "",
           ("windows ui", DIALOG)),
    # Failing system calls and other faults that no mutant may survive
    Mutant("failed-stream-is-awaited", "store/ReportStore.cpp",
           "return static_cast<bool>(report_);", "if (report_) return true;",
           ("windows store",)),
    Mutant("failed-print-counts-as-saved", "store/ReportStore.cpp",
           "document.SaveFile(report_.Get()) &&", "(document.SaveFile(report_.Get()), true) &&",
           ("windows store",)),
    Mutant("failed-flush-counts-as-saved", "store/ReportStore.cpp",
           "&& std::fflush(report_.Get()) == 0", "",
           ("windows store",)),
    Mutant("file-type-needs-both-counts", "store/ReportDocument.cpp",
           "opened == nullptr ? 0 :", "opened == nullptr ? 1 :",
           ("native store",)),
    Mutant("document-events-pass-the-filter", "usage/EventCounter.cpp",
           "if (EventTextFilter::GetInstance().Contains(ToWide(event.text))) return;", "",
           ("native usage",)),
    Mutant("extension-of-the-ending-only", "platform/FileExtension.cpp",
           "text(path);", "text(path.substr(path.rfind('.') < path.size() ? path.rfind('.') : 0));",
           ("windows platform",)),
    Mutant("locator-in-any-context", "survey/WmiQueryEngine.cpp",
           "CLSCTX_INPROC_SERVER", "CLSCTX_ALL",
           ("windows survey",)),
    Mutant("com-begins-before-the-check", "survey/SurveyJob.cpp",
           "std::optional<CComInitialization> com;",
           "std::optional<CComInitialization> com(std::in_place);",
           ("windows survey",)),
    Mutant("unused-section-is-not-made", "survey/SystemInformation.cpp",
           'const InfoSection unused(L"AdapterConf");', "",
           ("native survey",)),
    Mutant("upload-goes-on-without-an-identifier", "upload/UploadJob.cpp",
           "if (!hasId) return 0;", "",
           ("windows upload",)),
    Mutant("failed-status-query-is-200", "upload/MultipartSender.cpp",
           "std::optional<unsigned long> statusCode;", "std::optional<unsigned long> statusCode = 200;",
           ("windows upload",)),
    Mutant("failed-closing-boundary-is-ignored", "upload/MultipartSender.cpp",
           "return closing != nullptr && Write(http, closing, std::strlen(closing));",
           "if (closing != nullptr) { Write(http, closing, std::strlen(closing)); } return true;",
           ("windows upload",)),
    Mutant("pieces-of-1025-bytes", "upload/MultipartSender.cpp",
           "ChunkLength = 1024", "ChunkLength = 1025",
           ("windows upload",)),
    Mutant("template-in-another-english", "ui/PeltoDialog.rc",
           "SUBLANG_ENGLISH_US", "SUBLANG_ENGLISH_UK",
           ("windows ui",)),
)


class BrokenRun(Exception):
    """The table or the sound program does not allow any verdict."""


def find_old(mutant: Mutant, text: str) -> list[re.Match[str]]:
    """Where `text` holds what the mutant replaces."""
    words = (re.escape(word).replace(r"\(", r"\(\s*") for word in mutant.old.split())
    return list(re.finditer(r"\s+".join(words), text))


def check_table(chosen: list[Mutant]) -> None:
    """Each old text must be in its file exactly once."""
    faults = []
    for mutant in chosen:
        path = REPOSITORY / mutant.file
        count = len(find_old(mutant, path.read_text("utf-8"))) if path.exists() else 0
        if count != 1:
            faults.append(f"{mutant.name}: {count} times in {mutant.file}: {mutant.old}")
    if faults:
        raise BrokenRun("The table is out of date:\n" + "\n".join(faults))


def copy_files() -> None:
    """Makes the copy equal to the repository's files as they are now, committed or not. An equal
    file keeps its time, so that only what has changed is built again."""
    listing = subprocess.run(
        ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        cwd=REPOSITORY, check=True, capture_output=True, text=True).stdout
    names = {name for name in listing.split("\0") if name and (REPOSITORY / name).is_file()}
    for name in names:
        target = TREE / name
        if not target.exists() or not filecmp.cmp(REPOSITORY / name, target, shallow=False):
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(REPOSITORY / name, target)
    for path in TREE.rglob("*"):
        name = path.relative_to(TREE)
        if name.parts[0] != "build" and path.is_file() and str(name) not in names:
            path.unlink()
    (TREE / "build").mkdir(exist_ok=True)
    deps = TREE / "build" / "deps"
    if not deps.is_symlink():
        deps.symlink_to(REPOSITORY / "build" / "deps")


@contextlib.contextmanager
def applied(mutant: Mutant) -> Iterator[None]:
    """The copy with the fault in it."""
    path = TREE / mutant.file
    sound = path.read_text("utf-8")
    (found,) = find_old(mutant, sound)
    path.write_text(sound[:found.start()] + mutant.new + sound[found.end():], "utf-8")
    try:
        yield
    finally:
        path.write_text(sound, "utf-8")


@dataclass(frozen=True)
class Outcome:
    """What a command came to; without a code it took too long and was ended."""

    code: int | None
    output: str
    seconds: float


def end_group(process: subprocess.Popen[bytes]) -> None:
    """Ends a process with all that it started. It gets the time to clean up first: the end-to-end
    tests may have started a Wine of their own."""
    os.killpg(process.pid, signal.SIGINT)
    try:
        process.wait(30)
    except subprocess.TimeoutExpired:
        pass
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)
    process.wait()


class Wine:
    """A screen and a running Wine for the tests, kept by a shell that ends both when its input
    does: also when this script is killed."""

    SCRIPT = """source scripts/lib.sh
      { start_display && start_wine; } >&2 || exit 1
      env -0 >build/wine-environment
      echo ready
      read -r _"""

    def __init__(self) -> None:
        self._keeper: subprocess.Popen[str] | None = None

    def environment(self) -> dict[str, str]:
        """The environment of a Windows program; starts Wine when it is not running."""
        if self._keeper is None:
            self._keeper = subprocess.Popen(
                ["bash", "-c", self.SCRIPT], cwd=TREE, text=True, start_new_session=True,
                stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            assert self._keeper.stdout is not None
            if self._keeper.stdout.readline() != "ready\n":
                raise BrokenRun("Wine did not start")
        text = (TREE / "build" / "wine-environment").read_text("utf-8")
        return dict(entry.split("=", 1) for entry in text.split("\0") if entry)

    def stop(self) -> None:
        """Ends every Windows program, Wine and the screen."""
        keeper, self._keeper = self._keeper, None
        if keeper is not None:
            assert keeper.stdin is not None and keeper.stdout is not None
            keeper.stdin.close()
            keeper.wait()
            keeper.stdout.close()


class Judge:
    """Builds and runs suites in the copy."""

    def __init__(self, wine: Wine) -> None:
        self._wine = wine
        self._configured: set[str] = set()
        self._limits: dict[str, float] = {}
        self._additions = {"GTEST_FAIL_FAST": "1", "PYTHONDONTWRITEBYTECODE": "1"}
        if shutil.which("ccache") is not None:
            self._additions.update(
                CMAKE_C_COMPILER_LAUNCHER="ccache", CMAKE_CXX_COMPILER_LAUNCHER="ccache",
                CCACHE_BASEDIR=str(TREE), CCACHE_NOHASHDIR="1")

    def _run(self, command: list[str], limit: float, with_wine: bool = False) -> Outcome:
        environment = self._wine.environment() if with_wine else dict(os.environ)
        environment.update(self._additions)
        # Wine's services would keep a pipe open and its reader waiting, so the output is a file.
        with tempfile.TemporaryFile() as output:
            begin = time.monotonic()
            process = subprocess.Popen(
                command, cwd=TREE, env=environment, start_new_session=True,
                stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)
            code: int | None = None
            try:
                code = process.wait(limit)
            except subprocess.TimeoutExpired:
                pass
            finally:
                if process.poll() is None:
                    end_group(process)
            seconds = time.monotonic() - begin
            output.seek(0)
            return Outcome(code, output.read().decode("utf-8", "replace"), seconds)

    def _build(self, suite: str) -> Outcome:
        kind, name = suite.split()
        preset = "windows" if kind == "e2e" else kind
        if preset not in self._configured:
            configured = self._run(["cmake", "--preset", preset], BUILD_LIMIT)
            if configured.code != 0:
                raise BrokenRun(f"cmake --preset {preset} failed:\n{configured.output}")
            self._configured.add(preset)
        if kind == "e2e":
            targets = ["PELTOSender", "tests/programs/all"]
        else:
            targets = [f"fuzz_{name}" if kind == "fuzz" else f"{name}_tests"]
        return self._run(["cmake", "--build", "--preset", preset, "--target", *targets],
                         BUILD_LIMIT)

    def _test(self, suite: str, limit: float) -> Outcome:
        kind, name = suite.split()
        if kind == "e2e":
            command = ["tests/e2e/run.py", "build/e2e.counts", name]
            outcome = self._run(command, limit, with_wine=True)
        elif kind == "fuzz":
            found = TREE / "build" / "fuzz" / "found" / name
            shutil.rmtree(found, ignore_errors=True)
            found.mkdir(parents=True)
            command = [str(TREE / f"build/fuzz/tests/fuzz/fuzz_{name}"), "-seed=1",
                       "-max_total_time=20", "-max_len=4096", "-timeout=20",
                       f"-artifact_prefix={found}/", str(found), f"tests/fuzz/corpus/{name}"]
            outcome = self._run(command, limit)
        else:
            # A folder's tests also run under other names, in several time zones for example.
            command = ["ctest", "--preset", kind, "--stop-on-failure", "-R", f"^{name}(_|$)",
                       "--no-tests=error"]
            outcome = self._run(command, limit, with_wine=kind == "windows")
        if outcome.code is None:
            self._wine.stop()
        if outcome.code != 0:
            (TREE.parent / f"{kind}-{name}.log").write_text(outcome.output, "utf-8")
        return outcome

    def check_sound(self, suite: str) -> None:
        """A suite that fails on the sound program catches nothing. A second try is for tests that
        depend on time, on a machine that is busy."""
        if suite in self._limits:
            return
        built = self._build(suite)
        if built.code != 0:
            raise BrokenRun(f"The sound program does not build:\n{built.output}")
        for _ in range(2):
            outcome = self._test(suite, SOUND_RUN_LIMIT)
            if outcome.code == 0:
                self._limits[suite] = 60 + 4 * outcome.seconds
                return
            print(f"     {suite} fails without a fault: {describe(outcome)}", flush=True)
        raise BrokenRun(f"{suite} does not pass on the sound program:\n{outcome.output[-4000:]}")

    def judge(self, mutant: Mutant) -> tuple[str, str]:
        """("caught" or "SURVIVED" or "does not build", by what)."""
        for suite in mutant.suites:
            self.check_sound(suite)
            with applied(mutant):
                built = self._build(suite)
                if built.code != 0:
                    error = re.search(r"error: .*", built.output)
                    return "does not build", error.group() if error else built.output[-200:]
                outcome = self._test(suite, self._limits[suite])
            if outcome.code != 0:
                return "caught", f"by {suite}: {describe(outcome)}"
        return "SURVIVED", ", ".join(mutant.suites)


def describe(outcome: Outcome) -> str:
    """Which test failed first."""
    if outcome.code is None:
        return f"hangs (ended after {outcome.seconds:.0f} s)"
    failed = re.search(r"^(?:\d+: )?\[  FAILED  \] ([\w./]+)|^(?:FAIL|ERROR): (\w+)",
                       outcome.output, re.MULTILINE)
    return (failed.group(1) or failed.group(2)) if failed else f"ends with code {outcome.code}"


def choose(wanted: list[str]) -> list[Mutant]:
    """The mutants of these numbers and names; all without any."""
    chosen = [mutant for number, mutant in enumerate(MUTANTS, 1)
              if not wanted or str(number) in wanted or mutant.name in wanted]
    known = {mutant.name for mutant in MUTANTS} | {str(n + 1) for n in range(len(MUTANTS))}
    if unknown := [text for text in wanted if text not in known]:
        raise BrokenRun(f"No such mutant: {', '.join(unknown)}")
    return chosen


def run(chosen: list[Mutant]) -> bool:
    """Judges the mutants; whether all were caught."""
    check_table(chosen)
    subprocess.run([REPOSITORY / "scripts" / "setup.sh"], check=True)
    copy_files()
    counts = {"caught": 0, "SURVIVED": 0, "does not build": 0}
    wine = Wine()
    try:
        judge = Judge(wine)
        for mutant in chosen:
            begin = time.monotonic()
            verdict, reason = judge.judge(mutant)
            counts[verdict] += 1
            print(f"{MUTANTS.index(mutant) + 1:3}  {mutant.name}: {verdict} ({reason})"
                  f" {time.monotonic() - begin:.0f} s", flush=True)
    finally:
        wine.stop()
    if counts["does not build"]:
        print(f"{counts['does not build']} did not build")
    print(f"{counts['caught']} caught, {counts['SURVIVED']} survived")
    return counts["caught"] == len(chosen)


def main() -> int:
    parser = argparse.ArgumentParser(
        description="Breaks the program on purpose and reports which test catches each fault.")
    parser.add_argument("--list", action="store_true", help="print the table, check that it fits the sources, and end")
    parser.add_argument("mutants", nargs="*", metavar="MUTANT", help="number or name")
    arguments = parser.parse_args()
    # Ended in this way, everything is put back too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    try:
        chosen = choose(arguments.mutants)
        if arguments.list:
            check_table(chosen)
            for mutant in chosen:
                print(f"{MUTANTS.index(mutant) + 1:3}  {mutant.file}: {mutant.name}"
                      f" ({', '.join(mutant.suites)})")
            return 0
        return 0 if run(chosen) else 1
    except BrokenRun as error:
        print(error, file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 1


sys.exit(main())
