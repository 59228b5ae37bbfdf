import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import path from "node:path";
import { describe, it } from "node:test";
import { codePageOf, codePageOfLocale } from "@pages/viewer/codePage";

const encoder = new TextEncoder();

/** By Windows' number of a code page, its name in browsers. */
const names: Record<string, string> = {
  "874": "windows-874",
  "932": "shift_jis",
  "936": "gbk",
  "949": "euc-kr",
  "950": "big5",
  unicode_only: "windows-1252",
};

describe("The code page of a report", () => {
  it("goes with the machine’s language", () => {
    const text =
      '<PeltoRpt><sys_info><prop name="Locale" cat="OS">0419</prop></sys_info></PeltoRpt>';
    assert.equal(codePageOf(encoder.encode(text)), "windows-1251");
    const spaced = text.replace("0419", `${" ".repeat(100_000)}0419\n`);
    assert.equal(codePageOf(encoder.encode(spaced)), "windows-1251");
  });

  it("is found with the attributes in any order and quotation marks", () => {
    const text =
      "<PeltoRpt><sys_info><prop cat='OS'\n name = 'Locale' > 0411 </prop></sys_info></PeltoRpt>";
    assert.equal(codePageOf(encoder.encode(text)), "shift_jis");
  });

  it("is not taken from another property", () => {
    const text =
      '<PeltoRpt><prop name="Locale" cat="Keyboard">0419</prop><prop name="Version" cat="OS">0419</prop></PeltoRpt>';
    assert.equal(codePageOf(encoder.encode(text)), "windows-1252");
  });

  it("is 1252 without a language and for what is none", () => {
    assert.equal(codePageOf(encoder.encode("<PeltoRpt/>")), "windows-1252");
    for (const locale of ["", "german", "0x0419", "123456789", "04 19"])
      assert.equal(codePageOfLocale(locale), "windows-1252");
  });

  it("is UTF-8 with a byte-order mark, or a declaration that names it or nothing", () => {
    assert.equal(codePageOf(encoder.encode("\uFEFF<PeltoRpt/>")), "utf-8");
    assert.equal(codePageOf(encoder.encode('<?xml version="1.0"?><PeltoRpt/>')), "utf-8");
    assert.equal(
      codePageOf(encoder.encode('<?xml version="1.0" encoding="UTF-8"?><PeltoRpt/>')),
      "utf-8",
    );
  });

  it("goes with the language under a declaration that names another encoding", () => {
    const text =
      '<?xml version="1.0" encoding="windows-1252"?><PeltoRpt><prop name="Locale" cat="OS">0415</prop></PeltoRpt>';
    assert.equal(codePageOf(encoder.encode(text)), "windows-1250");
  });

  it("differs by script, and does not by sort order", () => {
    assert.equal(codePageOfLocale("0404"), "big5");
    assert.equal(codePageOfLocale("0804"), "gbk");
    assert.equal(codePageOfLocale("0c1a"), "windows-1251");
    assert.equal(codePageOfLocale("041a"), "windows-1250");
    assert.equal(codePageOfLocale("00010407"), "windows-1252");
  });

  it("is the same as the server’s for each language that it knows", async () => {
    const root = process.env.PELTO_REPO ?? "";
    const source = await readFile(path.join(root, "collector/intake/CodePage.cpp"), "utf8");
    const entries = [...source.matchAll(/LanguageCodePage\{(0x[0-9A-F]+), (\d+|unicode_only)\}/g)];
    assert.ok(entries.length > 100);
    for (const [, language = "", codePage = ""] of entries) {
      const locale = Number(language).toString(16).padStart(4, "0");
      assert.equal(
        codePageOfLocale(locale),
        names[codePage] ?? `windows-${codePage}`,
        `language ${locale}`,
      );
    }
  });

  it("is one that can be read here", () => {
    for (const codePage of [...Object.values(names), "windows-1250", "windows-1258", "utf-8"])
      assert.ok(new TextDecoder(codePage));
  });
});
