import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { readReport, ReportError } from "@pages/viewer/readReport";
import { parseXml, XmlError } from "@pages/viewer/xml";
import { reportText } from "../support/Report";

const encoder = new TextEncoder();

function read(text: string): ReturnType<typeof readReport> {
  return readReport(encoder.encode(text));
}

describe("A report", () => {
  it("is read with everything in it", () => {
    assert.deepEqual(read(reportText()), {
      codePage: "windows-1252",
      application: "Example Designer",
      version: "1.0.0.0",
      commands: [
        { name: "Line", uses: 26, order: 2 },
        { name: "Zoom <Extents>", uses: 12, order: 1 },
      ],
      fileTypes: [{ name: ".dwg", opened: 2, saved: 3 }],
      machine: [
        { category: "Video Card", name: "AdapterRAM", value: "-1048576" },
        { category: "OS", name: "Locale", value: "0407" },
      ],
      identifiers: [
        { name: "Identifier of this installation", value: "22c7f48c-bad7-430c-a9c2-cc811bf1761d" },
        { name: "E-mail address", value: "user@example.com" },
        { name: "Hardware address of the network adapter", value: "02:fc:00:00:00:01" },
      ],
    });
  });

  it("may be empty", () => {
    const report = read("<PeltoRpt/>");
    assert.deepEqual(
      [report.commands, report.fileTypes, report.machine, report.identifiers],
      [[], [], [], []],
    );
    assert.equal(report.application, "");
  });

  for (const [text, uses] of [
    ["7", 7],
    ["-7", 0],
    ["", 0],
    ["x", 0],
    ["7x", 7],
    ["1000000001", 1_000_000_000],
  ] as const) {
    it(`has ${uses} uses for "${text}"`, () => {
      assert.equal(
        read(reportText({ commands: `<cmd id="1" name="A" count="${text}"/>` })).commands[0]?.uses,
        uses,
      );
    });
  }

  it("counts what comes twice as its first", () => {
    const { commands } = read(
      reportText({ commands: '<cmd id="1" name="A" count="1"/><cmd id="2" name="A" count="2"/>' }),
    );
    assert.deepEqual(commands, [{ name: "A", uses: 1, order: 1 }]);
  });

  it("has texts without the whitespace around and in them", () => {
    const { machine } = read(
      reportText({ machine: '<prop name="Name" cat="Processor">  a \n b </prop>' }),
    );
    assert.deepEqual(machine, [{ category: "Processor", name: "Name", value: "a b" }]);
  });

  for (const text of [
    "",
    "   ",
    "text",
    "<PeltoRpt>",
    "<PeltoRpt></Pelto>",
    "<a/>",
    "<!DOCTYPE PeltoRpt><PeltoRpt/>",
    "<PeltoRpt/><PeltoRpt/>",
  ]) {
    it(`is not "${text}"`, () => {
      assert.throws(() => read(text), ReportError);
    });
  }

  it("is not larger than 4 MiB", () => {
    assert.throws(() => readReport(new Uint8Array(4 * 1024 * 1024 + 1)), /larger than 4 MiB/);
  });

  it("is read in time, even with 4 MiB of broken markup", () => {
    const start = Date.now();
    for (const piece of ["<", "<a ", "<!--", "<![CDATA[", "&#", '<a b="', "<?"]) {
      const text = `<PeltoRpt>${piece.repeat(Math.floor((4 * 1024 * 1024 - 20) / piece.length))}`;
      assert.throws(() => read(text), ReportError, piece);
    }
    assert.ok(Date.now() - start < 5000);
  });
});

describe("XML", () => {
  it("has elements, attributes in both quotation marks, and text", () => {
    const root = parseXml(
      '\uFEFF<?xml version="1.0"?><!-- c --><a b = "1" c=\'"\'>x<d/>y<![CDATA[<z>]]></a>\n',
    );
    assert.deepEqual(
      [...root.attributes],
      [
        ["b", "1"],
        ["c", '"'],
      ],
    );
    assert.equal(root.text, "xy<z>");
    assert.deepEqual(
      root.children.map(({ name }) => name),
      ["d"],
    );
  });

  it("has references replaced, and those to characters that cannot be shown by a sign", () => {
    assert.equal(parseXml("<a>&lt;&gt;&amp;&quot;&apos;&#65;&#x42;</a>").text, "<>&\"'AB");
    assert.equal(parseXml("<a>&#0;&#x1F;&#xD800;&#x110000;</a>").text, "\uFFFD".repeat(4));
    assert.equal(parseXml("<a>&amp;lt; &unknown; & &;</a>").text, "&lt; &unknown; & &;");
    assert.equal(parseXml("<a>&constructor;</a>").text, "&constructor;");
  });

  for (const text of [
    "<a",
    "<a b=1/>",
    '<a b="<"/>',
    "<a></b>",
    "</a>",
    "<a/>x",
    "x<a/>",
    "<a><!-- </a>",
    "<a>".repeat(200),
  ]) {
    it(`is not "${text.slice(0, 20)}"`, () => {
      assert.throws(() => parseXml(text), XmlError);
    });
  }
});
