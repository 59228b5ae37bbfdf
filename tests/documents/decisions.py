"""How each block of the documents is tested, or why it is not. A block about which nothing is said
here fails the tests."""

from __future__ import annotations

# Documents whose blocks of the kinds `sh` and `console` are run, each in order and in one shell.
FOLLOWED = {
    "docs/building.md",
    "docs/collector.md",
    "docs/integration.md",
    "samples/host/README.md",
    "samples/language/README.md",
}

# What of that is not run and why, by document and first line. A command that is not the first of its
# block can be named too.
NOT_RUN = {
    ("CONTRIBUTING.md", "scripts/setup.sh                                     "
                        "# installs what is missing, and says what"):
        "the step `native` does the same",
    ("CONTRIBUTING.md", "scripts/test.sh format spelling docs native   "
                        "# or other steps that your change can break"):
        "this test is a part of it",
    ("README.md", "pelto-collector serve --data DIR"): "docs/collector.md has it too",
    ("README.md", "scripts/build.sh             # builds build/windows/PELTOSender.exe"):
        "the steps before this one build; the demo takes a minute and is run by hand",
    ("docs/building.md", "scripts/build.sh            # makes build/windows/PELTOSender.exe"):
        "the steps before this one build",
    ("docs/building.md", "cmake --build build/plain"): "half a minute",
    ("docs/building.md", "scripts/package.sh"): "the step `package` runs it",
    ("docs/collector.md", "apt install ./pelto-collector_*_amd64.deb"):
        "it changes the machine; the step `package` installs it elsewhere",
    ("docs/collector.md", "sudo -u pelto-collector pelto-collector check \\"):
        "it needs the installed service; the step `package` does it elsewhere",
    ("docs/collector.md", "systemctl reload pelto-collector"):
        "it needs the installed service; test_its_reload_is_the_signal_for_a_new_certificate",
    ("docs/integration.md", "scripts/build.sh"): "the steps before this one build",
    ("docs/integration.md", 'signtool sign /n "Your company" /fd SHA256 '
                            "/tr http://timestamp.example /td SHA256 PELTOSender.exe LangExt*.dll"):
        "signing needs Windows and a certificate",
    ("docs/integration.md", "for file in PELTOSender.exe LangExt*.dll; do"):
        "it needs a server for the time, outside of this machine",
    ("docs/troubleshooting.md",
     "cmake -B build/trace -G Ninja --toolchain cmake/toolchain-mingw.cmake \\"):
        "half a minute; the step `clang` makes and runs such a build",
    ("samples/host/README.md",
     "SampleHost C:\\Program\\PELTOSender.exe https://example.com/collect C:\\Data C:\\Logs"):
        "a window that waits for its user; docs/integration.md runs it with a script",
    ("samples/language/README.md", "cl /LD /MT /EHsc /std:c++20 LangExt.cpp ModuleNames.cpp"):
        "there is no Visual C++ here",
}

# The test of each block of another kind, by document and first line.
TESTED = {
    ("docs/collector.md", 'data = "/var/lib/pelto-collector"'): "test_the_configuration_is_one",
    ("docs/collector.md", "[Service]"):
        "test_the_lines_for_a_low_port_allow_that_and_nothing_else",
    ("docs/collector.md", '{"received":"2026-01-05T10:00:00Z","product":"default","id":"GUID",'
                          '"report":"<PeltoRpt>..."}'): "test_the_line_with_a_report_is_imported",
    ("docs/collector.md", "location / {"): "test_the_pages_work_behind_nginx",
    ("docs/data.md", "<PeltoRpt>"): "test_the_report_is_sent_as_the_documents_show_it",
    ("docs/data.md", 'PELTOSender duty http:// C:\\Temp\\Copy "Example Designer" '
                     '"C:\\Program Files\\Example\\Designer.exe"'):
        "test_what_would_be_sent_can_be_looked_at",
    ("docs/integration.md", "PELTOSender dlg C:\\Try\\Data"):
        "test_the_commands_for_windows_are_those_for_wine",
    ("docs/integration.md", "2026-11-16 09:00:12.34 Command = Line"):
        "test_the_example_of_a_log_is_counted",
    ("docs/integration.md", 'extern "C" __declspec(dllexport) HINSTANCE __cdecl '
                            "LoadResExtDLL(HINSTANCE program, DWORD_PTR reserved);"):
        "test_the_library_that_keeps_itself_compiles",
    ("docs/integration.md", "  HMODULE self = nullptr;"):
        "test_the_library_that_keeps_itself_compiles",
    ("docs/server.md", "POST /collect?product=7 HTTP/1.1"):
        "test_the_report_is_sent_as_the_documents_show_it",
    ("docs/server.md", "import base64"): "test_the_source_reads_a_report",
    ("samples/host/README.md", "pelto::UsageLog log(logFolder, dataFolder);"):
        "test_the_use_of_the_header_compiles",
}

# Blocks that only show something, by document and first line.
SHOWN = {
    ("README.md", "PELTOSender log_handle <data folder> <log folder>"),
    ("docs/design.md", "app/Main                 hands over to the framework"),
    ("docs/design.md", "ui/PeltoDialog           modal; reads the settings, writes the answer, "
                       "fades in"),
    ("docs/design.md", "survey/SurveyJob          COM for its duration; the store's properties"),
    ("docs/design.md", "upload/UploadJob          reads the report, packs it into two fields, "
                       "waits without a timeout"),
}
# Texts of licenses.
SHOWN_DOCUMENTS = {"THIRD_PARTY_NOTICES.md"}
