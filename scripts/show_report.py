#!/usr/bin/env python3
"""show_report.py REPORT: the most used commands and the file types of a usage report."""

import sys
import xml.etree.ElementTree
from pathlib import Path


def main() -> None:
    text = Path(sys.argv[1]).read_bytes().decode("cp1252")
    report = xml.etree.ElementTree.fromstring(text)
    commands = report.findall("cmd_stat/cmds/cmd")
    commands.sort(key=lambda command: (-int(command.get("count")), int(command.get("id"))))
    print(f"{'uses':>6}  {'first seen':>10}  command")
    for command in commands[:8]:
        print(f"{command.get('count'):>6}  {'#' + command.get('id'):>10}  {command.get('name')}")
    if len(commands) > 8:
        print(f"{'':>6}  {'':>10}  and {len(commands) - 8} more")
    print(f"\n{'opened':>6}  {'saved':>10}  file type")
    for file_type in report.findall("ftype_stat/ftypes/ftype"):
        name = file_type.get("name") or "(none)"
        print(f"{file_type.get('ocnt'):>6}  {file_type.get('scnt'):>10}  {name}")


main()
