// The viewer as one file, opened from the disk without a server.

import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import path from "node:path";
import { afterEach, describe, it } from "node:test";
import { pathToFileURL } from "node:url";
import type { Page } from "playwright-core";
import { longestStop, settled, type WatchedPage } from "./support/Browser";
import { reportFile, reportText } from "./support/Report";
import { pagesFolder } from "./support/Site";
import { Suite } from "./support/Suite";

const address = pathToFileURL(path.join(pagesFolder, "viewer.html")).href;

async function commandsOf(page: Page): Promise<string[]> {
  await page.getByRole("button", { name: "Table" }).first().click();
  return page
    .locator("figure")
    .first()
    .locator("tbody tr")
    .evaluateAll((rows) =>
      rows.map((row) => [...row.children].map((cell) => cell.textContent).join("|")),
    );
}

describe("The viewer", () => {
  const suite = new Suite({ data: "empty" });
  afterEach(() => suite.closePages());

  async function open(content: string | Buffer, name?: string): Promise<WatchedPage> {
    const watched = await suite.open();
    await watched.page.goto(address);
    await watched.page.setInputFiles("input[type=file]", reportFile(content, name));
    return watched;
  }

  it("draws a report from the disk and asks nobody for anything", async () => {
    const { page, requests } = await open(reportText());
    await page.getByRole("heading", { name: "2 commands, used 38 times; Line most" }).waitFor();
    await settled(page);
    assert.equal(await page.locator(".picture svg").count(), 2);
    assert.deepEqual(await commandsOf(page), ["Line|26|2", "Zoom <Extents>|12|1"]);
    await page.getByText("Example Designer 1.0.0.0").waitFor();
    await page.getByText("-1048576 (4 GiB)").waitFor();
    assert.deepEqual(
      requests.filter((request) => !request.includes("viewer.html")),
      [],
    );
  });

  it("gives its tables as files", async () => {
    const { page } = await open(reportText({ commands: '<cmd id="1" name="=Sum" count="5" />' }));
    await page.getByRole("heading", { name: "=Sum most" }).waitFor();
    const files: string[] = [];
    for (const format of ["CSV", "JSON"]) {
      const download = page.waitForEvent("download");
      await page.getByRole("button", { name: new RegExp(`^${format}: 1 command`) }).click();
      files.push(await readFile(await (await download).path(), "utf8"));
    }
    assert.deepEqual(files, [
      "Command,Uses,Place of first use\r\n'=Sum,5,1\r\n",
      '[{"name":"=Sum","uses":5,"order":1}]\n',
    ]);
  });

  it("cannot send anything, because its policy does not let it", async () => {
    const watched = await suite.open();
    await watched.page.goto(address);
    const isSent = await watched.page.evaluate(async (url) => {
      try {
        await fetch(url, { mode: "no-cors" });
        return true;
      } catch {
        return false;
      }
    }, suite.site.pages);
    assert.equal(isSent, false);
    assert.ok(watched.faults.some((fault) => fault.includes("Content Security Policy")));
    watched.faults.length = 0;
  });

  it("masks what can be traced until it is asked to show it", async () => {
    const { page } = await open(reportText());
    await page.getByRole("heading", { name: "Traceable to you or your machine" }).waitFor();
    const text = () => page.locator("body").innerText();
    for (const value of ["22c7f48c", "user@example.com", "02:fc"])
      assert.ok(!(await text()).includes(value), value);
    await page.getByRole("button", { name: "Show: E-mail address" }).click();
    assert.ok((await text()).includes("user@example.com"));
    assert.ok(!(await text()).includes("22c7f48c"));
    await page.getByRole("button", { name: "Hide: E-mail address" }).click();
    assert.ok(!(await text()).includes("user@example.com"));
  });

  it("reads the code page that goes with the machine’s language", async () => {
    const machine = '<prop name="Locale" cat="OS">0419</prop>';
    const text = reportText({ machine, commands: '<cmd id="1" name="PLACE" count="5" />' });
    const [start = "", end = ""] = text.split("PLACE");
    const { page } = await open(
      Buffer.concat([
        Buffer.from(start),
        Buffer.from([0xcb, 0xe8, 0xed, 0xe8, 0xff]),
        Buffer.from(end),
      ]),
    );
    await page.getByRole("heading", { name: "1 command, used 5 times; Линия most" }).waitFor();
  });

  it("reads Western European text without a language", async () => {
    const text = reportText({ machine: "", commands: '<cmd id="1" name="PLACE" count="5" />' });
    const [start = "", end = ""] = text.split("PLACE");
    const { page } = await open(
      Buffer.concat([Buffer.from(start), Buffer.from([0xd6, 0x66, 0x66]), Buffer.from(end)]),
    );
    await page.getByRole("heading", { name: /Öff most/ }).waitFor();
  });

  it("reads references to control characters, which the sender writes and XML forbids", async () => {
    const { page } = await open(
      reportText({ commands: '<cmd id="1" name="A&#x01;B&#9;&#31;" count="1" />' }),
    );
    await page.getByRole("heading", { name: "1 command, used 1 time" }).waitFor();
    const [row] = await commandsOf(page);
    assert.match(row ?? "", /^A\uFFFDB/);
  });

  it("counts a command that comes twice as its first, and bad numbers as the server does", async () => {
    const commands =
      '<cmd id="1" name="Line" count="5" /><cmd id="2" name="Line" count="9" /><cmd id="3" name="Arc" count="-4" /><cmd name="Box" count="99999999999" />';
    const { page } = await open(reportText({ commands }));
    await page.getByRole("heading", { name: "3 commands" }).waitFor();
    assert.deepEqual(await commandsOf(page), ["Box|1,000,000,000|0", "Line|5|1", "Arc|0|3"]);
  });

  it("says what is missing before the first transmission", async () => {
    const { page } = await open("<PeltoRpt><cmd_stat><cmds/></cmd_stat></PeltoRpt>");
    await page.getByText("The report holds no commands.").waitFor();
    await page.getByText("Not described yet.").waitFor();
    await page.getByText("Not named yet").waitFor();
  });

  for (const [what, content, message] of [
    ["an empty file", "", "This file is empty."],
    ["a cut file", reportText().slice(0, 300), "not whole XML"],
    ["another XML file", '<svg xmlns="http://www.w3.org/2000/svg"/>', "not a report"],
    ["a picture", Buffer.from([0x89, 0x50, 0x4e, 0x47, 0, 1, 2]), "not whole XML"],
    [
      "a file with a document type",
      `<!DOCTYPE PeltoRpt [<!ENTITY a SYSTEM "file:///etc/hostname">]>${reportText({ commands: '<cmd name="&a;" id="1" count="1"/>' })}`,
      "not whole XML",
    ],
    ["a file that is too large", Buffer.alloc(4 * 1024 * 1024 + 1, 0x20), "larger than 4 MiB"],
  ] as const) {
    it(`refuses ${what} in words`, async () => {
      const { page } = await open(content, "some.xml");
      await page.getByRole("heading", { name: "some.xml cannot be shown" }).waitFor();
      await page.getByText(message).waitFor();
      // The next file is opened all the same.
      await page.setInputFiles("input[type=file]", reportFile(reportText()));
      await page.getByRole("heading", { name: "Line most" }).waitFor();
    });
  }

  it("shows markup in names as text", async () => {
    const { page } = await open(
      reportText({
        commands: '<cmd id="1" name="&lt;img src=x onerror=alert(1)&gt;" count="1" />',
      }),
    );
    await page.getByRole("heading", { name: "<img src=x onerror=alert(1)> most" }).waitFor();
    assert.equal(await page.locator("main img").count(), 0);
  });

  it("opens a report of 4 MiB without a long stop", async () => {
    const lines: string[] = [];
    for (let place = 1, size = 0; size < 4 * 1024 * 1024 - 2000; ++place) {
      const line = `<cmd id="${place}" name="Command number ${place}" count="${place % 977}" />\n`;
      lines.push(line);
      size += line.length;
    }
    const { page } = await suite.open();
    const file = reportFile(reportText({ commands: lines.join("") }));
    // A machine that is busy with other things stops pages, too, but not each time.
    let stop = Infinity;
    for (let attempt = 0; attempt < 3 && stop >= 2000; ++attempt) {
      await page.goto(address);
      stop = await longestStop(page, async () => {
        await page.setInputFiles("input[type=file]", file);
        await page.getByRole("heading", { name: /commands, used/ }).waitFor();
        await settled(page);
      });
    }
    assert.ok(stop < 2000, `a stop of ${stop} ms`);
  });

  it("takes a file that is dropped, and keeps one that misses from replacing the page", async () => {
    const { page } = await suite.open();
    await page.goto(address);
    const drop = (selector: string) =>
      page.evaluate(
        ([place = "", text = ""]) => {
          const dataTransfer = new DataTransfer();
          dataTransfer.items.add(new File([text], "PeltoReport.xml", { type: "text/xml" }));
          const event = new DragEvent("drop", { dataTransfer, bubbles: true, cancelable: true });
          document.querySelector(place)?.dispatchEvent(event);
          return event.defaultPrevented;
        },
        [selector, reportText()],
      );
    assert.equal(await drop("h1"), true);
    assert.equal(await page.locator("figure").count(), 0);
    assert.equal(await drop(".drop"), true);
    await page.getByRole("heading", { name: "Line most" }).waitFor();
  });
});
