// Accounts: log-in and log-out, set-up, roles, users, audit; and what needs a role: contacts,
// erasure, export.

import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { afterEach, describe, it } from "node:test";
import type { Page } from "playwright-core";
import { logIn, settled } from "./support/Browser";
import { collector } from "./support/Collector";
import { deliver } from "./support/Delivery";
import { reportText } from "./support/Report";
import { accounts, password } from "./support/Site";
import { goTo, Suite } from "./support/Suite";
import { rowsOf } from "./support/Tables";

function navigation(page: Page): Promise<string[]> {
  return page.getByRole("navigation", { name: "Pages" }).getByRole("link").allTextContents();
}

/** An installation that is kept. */
async function someInstallation(data: string, place: number): Promise<string> {
  const lines = (await collector("export", "--data", data))
    .split("\n")
    .filter((line) => line !== "");
  const installations = [
    ...new Set(lines.map((line) => (JSON.parse(line) as { installation: string }).installation)),
  ];
  return installations[place] ?? "";
}

describe("Logging in", () => {
  const suite = new Suite();
  afterEach(() => suite.closePages());

  it("goes on to the page that was asked for, with its filter", async () => {
    const { page } = await suite.open();
    await page.goto(`${suite.site.pages}/commands?version=1.8.0.0`);
    await page.getByRole("heading", { name: "Log in" }).waitFor();
    assert.equal(new URL(page.url()).pathname, "/login");
    await page.getByLabel("User").fill(accounts.viewer.user);
    await page.getByLabel("Password").fill(accounts.viewer.password);
    await page.keyboard.press("Enter");
    await page.getByRole("heading", { name: "Commands", exact: true }).waitFor();
    assert.match(page.url(), /\/commands\?version=1\.8\.0\.0$/);
  });

  it("refuses a wrong password in words, and empties its field", async () => {
    const { page } = await suite.open();
    await page.goto(`${suite.site.pages}/login`);
    await page.getByLabel("User").fill(accounts.viewer.user);
    await page.getByLabel("Password").fill("wrong");
    await page.getByRole("button", { name: "Log in" }).click();
    await page.getByText("User or password is wrong.").waitFor();
    assert.equal(await page.getByLabel("Password").inputValue(), "");
  });

  it("ends with Log out, and Back shows nothing of before", async () => {
    const { page } = await suite.openAs("viewer");
    await page.getByRole("link", { name: "Commands" }).click();
    await settled(page);
    await page.getByRole("button", { name: "Log out" }).click();
    await page.getByRole("heading", { name: "Log in" }).waitFor();
    await page.goBack();
    await page.getByRole("heading", { name: "Log in" }).waitFor();
    assert.equal(await page.locator("figure").count(), 0);
  });

  it("is asked for again when the session has ended", async () => {
    const { page, context } = await suite.openAs("viewer");
    await context.clearCookies();
    await page.getByRole("link", { name: "Machines" }).click();
    await page.getByRole("heading", { name: "Log in" }).waitFor();
    await page.getByLabel("User").fill(accounts.viewer.user);
    await page.getByLabel("Password").fill(accounts.viewer.password);
    await page.getByRole("button", { name: "Log in" }).click();
    await page.getByRole("heading", { name: "Machines", exact: true }).waitFor();
  });
});

describe("Guessing passwords", () => {
  // The address has to wait then, and all of these tests come from the same.
  const suite = new Suite({ data: "empty" });
  afterEach(() => suite.closePages());

  it("ends after ten attempts, with the time to wait", async () => {
    const { page } = await suite.open();
    await page.goto(`${suite.site.pages}/login`);
    await page.getByLabel("User").fill("nobody");
    for (let attempt = 0; attempt < 11; ++attempt) {
      assert.equal(await page.getByText("Too many attempts").count(), 0);
      const response = page.waitForResponse("**/api/v1/session");
      await page.getByLabel("Password").fill(`wrong ${attempt}`);
      await page.getByRole("button", { name: "Log in" }).click();
      assert.equal((await response).status(), attempt < 10 ? 401 : 429);
      await page.locator(".form-message.bad").waitFor();
    }
    await page.getByText(/^Too many attempts\. Please wait \d+ (second|minute)/).waitFor();
  });
});

describe("Roles", () => {
  const suite = new Suite({ data: "empty" });
  afterEach(() => suite.closePages());

  const figures = [
    "Overview",
    "Commands",
    "File types",
    "Versions",
    "Machines",
    "Intake",
    "Data protection",
  ];

  it("let a viewer see figures only", async () => {
    const { page } = await suite.openAs("viewer");
    assert.deepEqual(await navigation(page), [...figures, "API"]);
    await goTo(page, suite.site, "/data-protection");
    for (const name of ["Contacts", "Erase", "Export"])
      assert.equal(await page.getByRole("heading", { name }).count(), 0);
    await page.goto(`${suite.site.pages}/users`);
    await page.getByRole("heading", { name: "Overview" }).waitFor();
  });

  it("let contacts also see addresses, once they ask for them", async () => {
    await deliver(suite.site.intake, reportText({ email: "anna@example.com" }));
    const { page, requests } = await suite.openAs("contacts");
    assert.deepEqual(await navigation(page), [...figures, "API"]);
    await goTo(page, suite.site, "/data-protection");
    assert.equal(await page.getByRole("heading", { name: "Erase" }).count(), 0);
    assert.ok(!requests.some((request) => request.includes("contacts")));
    await page.getByRole("button", { name: "Show the addresses" }).click();
    await page.getByRole("rowheader", { name: "anna@example.com" }).waitFor();
    const download = page.waitForEvent("download");
    await page.getByRole("link", { name: "CSV" }).click();
    assert.match(
      await readFile(await (await download).path(), "utf8"),
      /^address,received\r\nanna@example\.com,\d{4}-\d\d-\d\dT[\d:]+Z\r\n$/,
    );
  });

  it("let an admin see users and the audit, too", async () => {
    const { page } = await suite.openAs("admin");
    assert.deepEqual(await navigation(page), [...figures, "Users", "Audit", "API"]);
  });
});

describe("The one-time link", () => {
  const suite = new Suite({ data: "empty", hasAccounts: false });
  afterEach(() => suite.closePages());

  it("is named by the log-in page while there is no account", async () => {
    const { page } = await suite.open();
    await page.goto(`${suite.site.pages}/`);
    await page.getByText("No account exists yet.").waitFor();
  });

  it("makes no account with a wrong token, or without one", async () => {
    const { page } = await suite.open();
    await page.goto(`${suite.site.pages}/setup`);
    await page.getByRole("heading", { name: "This link is not complete" }).waitFor();
    await page.goto(`${suite.site.pages}/setup#wrong`);
    await page.reload();
    await page.getByText("Please open the whole link").waitFor();
  });

  it("makes the first account, disappears from the address, and works once", async () => {
    const { page } = await suite.open();
    await page.goto(suite.site.setupLink);
    await page.getByLabel("Name of the first user").fill("root");
    assert.equal(new URL(page.url()).hash, "");
    await page.getByLabel("Password", { exact: true }).fill("long enough 1");
    await page.getByLabel("Password again").fill("long enough 2");
    await page.getByRole("button", { name: "Make the account" }).click();
    await page.getByText("The two passwords differ.").waitFor();
    await page.getByLabel("Password again").fill("long enough 1");
    await page.getByRole("button", { name: "Make the account" }).click();
    await page.getByRole("heading", { name: "Overview" }).waitFor();
    assert.ok((await navigation(page)).includes("Users"));

    const other = await suite.open();
    await other.page.goto(suite.site.setupLink);
    await other.page.getByLabel("Name of the first user").fill("second");
    await other.page.getByLabel("Password", { exact: true }).fill("long enough 1");
    await other.page.getByLabel("Password again").fill("long enough 1");
    await other.page.getByRole("button", { name: "Make the account" }).click();
    await other.page.getByText("This link was used already").waitFor();
  });
});

describe("Users", () => {
  const suite = new Suite({ data: "empty" });
  afterEach(() => suite.closePages());

  it("are added, changed and removed, and the audit says so", async () => {
    const { page } = await suite.openAs("admin", { at: "/users" });
    await page.getByLabel("Name").fill("paul");
    await page.getByLabel("Password", { exact: true }).fill("long enough");
    await page.getByLabel("Role", { exact: true }).selectOption("contacts");
    await page.getByRole("button", { name: "Add the user" }).click();
    await page.getByText("paul can log in now.").waitFor();

    await page.getByLabel("Role of paul").selectOption("viewer");
    await page.getByText("paul is viewer now.").waitFor();
    await page.getByRole("button", { name: "Set the password of paul" }).click();
    await page
      .getByRole("dialog")
      .getByLabel("New password", { exact: true })
      .fill("another long one");
    await page.getByRole("button", { name: "Set the password", exact: true }).click();
    await page.getByText("paul has a new password.").waitFor();

    const paul = await suite.open();
    await logIn(paul.page, suite.site.pages, { user: "paul", password: "another long one" });

    await page.getByRole("button", { name: "Remove paul" }).click();
    await page.getByRole("dialog").getByRole("button", { name: "Cancel" }).click();
    await page.getByRole("rowheader", { name: "paul" }).waitFor();
    await page.getByRole("button", { name: "Remove paul" }).click();
    await page.getByRole("dialog").getByRole("button", { name: "Remove" }).click();
    await page.getByText("paul is removed.").waitFor();
    assert.equal(await page.getByRole("rowheader", { name: "paul" }).count(), 0);

    await page.getByRole("link", { name: "Audit" }).click();
    await page.getByRole("cell", { name: "Removed a user" }).waitFor();
    const actions = await page.locator("tbody td:nth-child(3)").allTextContents();
    for (const action of ["Added a user", "Changed a user", "Logged in"])
      assert.ok(actions.includes(action), action);
  });

  it("keep a name and the last admin", async () => {
    const { page } = await suite.openAs("admin", { at: "/users" });
    await page.getByLabel("Name").fill(accounts.viewer.user);
    await page.getByLabel("Password", { exact: true }).fill("long enough");
    await page.getByRole("button", { name: "Add the user" }).click();
    await page.getByText("exists already").waitFor();
    await page.getByLabel(`Role of ${accounts.admin.user}`).selectOption("viewer");
    await page.getByText("is the last account of the role admin").waitFor();
    assert.equal(await page.getByLabel(`Role of ${accounts.admin.user}`).inputValue(), "admin");
  });

  it("change their own password", async () => {
    const { page } = await suite.openAs("contacts");
    await page
      .getByRole("button", { name: `${accounts.contacts.user}: change your password` })
      .click();
    const dialog = page.getByRole("dialog");
    await dialog.getByLabel("Password now").fill("wrong one");
    await dialog.getByLabel("New password").fill("a new long one");
    await dialog.getByRole("button", { name: "Change the password" }).click();
    await dialog.getByText("the old password is wrong").waitFor();
    await dialog.getByLabel("Password now").fill(password);
    await dialog.getByRole("button", { name: "Change the password" }).click();
    await dialog.waitFor({ state: "detached" });
    await page.getByRole("button", { name: "Log out" }).click();
    await logIn(page, suite.site.pages, {
      user: accounts.contacts.user,
      password: "a new long one",
    });
  });
});

describe("What is kept of three installations", () => {
  const suite = new Suite({ data: "few" });
  afterEach(() => suite.closePages());

  it("is withheld, and the page says why", async () => {
    const { page } = await suite.openAs("viewer", { at: "/data-protection" });
    assert.deepEqual(await rowsOf(page.locator(".table-block").first()), [
      ["default", "–", "–", "–", "–"],
    ]);
    await page
      .getByText("The numbers of 1 product are withheld: fewer than 5 installations have reported.")
      .waitFor();
  });
});

describe("Data protection", () => {
  const suite = new Suite();
  afterEach(() => suite.closePages());

  it("says what is kept and for how long", async () => {
    const { page } = await suite.openAs("viewer", { at: "/data-protection" });
    await page.getByText("5 installations").waitFor();
    await page.getByText("400 days").waitFor();
    const lines = (await collector("export", "--data", suite.site.data)).trim().split("\n");
    const kept = lines.map(
      (line) => JSON.parse(line) as { installation: string; received: string },
    );
    const since = kept.map(({ received }) => received.slice(0, 10)).sort()[0] ?? "";
    const [row = []] = await rowsOf(page.locator(".table-block").first());
    assert.deepEqual(row.slice(0, 4), [
      "default",
      new Date(since).toLocaleDateString("en-US", { dateStyle: "medium", timeZone: "UTC" }),
      kept.length.toLocaleString("en-US"),
      new Set(kept.map(({ installation }) => installation)).size.toLocaleString("en-US"),
    ]);
    assert.equal(await page.locator(".withheld").count(), 0);
  });

  it("erases only what is confirmed, and gives the receipt as a file that the server takes for its own", async () => {
    const { page } = await suite.openAs("admin", { at: "/data-protection" });
    const installation = await someInstallation(suite.site.data, 0);
    await page.getByLabel("Identifier", { exact: true }).fill(installation);
    await page.getByRole("button", { name: "Erase…" }).click();
    const dialog = page.getByRole("dialog");
    await dialog.getByText(installation).waitFor();
    await page.keyboard.press("Escape");
    await dialog.waitFor({ state: "detached" });
    assert.notEqual(
      await collector("export", "--data", suite.site.data, "--installation", installation),
      "",
    );

    await page.getByRole("button", { name: "Erase…" }).click();
    await dialog.getByRole("button", { name: "Erase" }).click();
    await page.getByRole("heading", { name: "Erased" }).waitFor();
    assert.equal(
      await collector("export", "--data", suite.site.data, "--installation", installation),
      "",
    );
    const download = page.waitForEvent("download");
    await page.getByRole("button", { name: "Download the receipt" }).click();
    const file = await (await download).path();
    await collector("erase", "--data", suite.site.data, "--verify", file);
  });

  it("says when nothing was kept", async () => {
    const { page } = await suite.openAs("admin", { at: "/data-protection" });
    await page.getByLabel("Erase by").selectOption("email");
    await page.getByLabel("E-mail address").fill("nobody@example.com");
    await page.getByRole("button", { name: "Erase…" }).click();
    await page.getByRole("dialog").getByRole("button", { name: "Erase" }).click();
    await page.getByRole("heading", { name: "Nothing was kept" }).waitFor();
  });

  it("exports one installation, as the command does", async () => {
    const { page } = await suite.openAs("admin", { at: "/data-protection" });
    const installation = await someInstallation(suite.site.data, 1);
    await page.getByLabel("Identifier of the installation").last().fill(installation);
    const download = page.waitForEvent("download");
    await page.getByRole("button", { name: "Download", exact: true }).click();
    const text = await readFile(await (await download).path(), "utf8");
    assert.equal(
      text,
      await collector("export", "--data", suite.site.data, "--installation", installation),
    );
    assert.ok(text.includes(installation));
  });
});
