// What the browser's tests talk to: a server with data and accounts.

import { existsSync } from "node:fs";
import { copyFile, mkdir, readdir, rename } from "node:fs/promises";
import os from "node:os";
import path from "node:path";
import { collectorWith, repository, Server } from "./Collector";
import { dataSets, type DataName } from "./Data";
import { temporaryFolder } from "./Temporary";

/** The pages as they were built; the program has the same in it. */
export const pagesFolder = process.env.PELTO_WEB ?? path.join(repository, "build/web");

export interface Account {
  user: string;
  password: string;
}

export const password = "correct horse battery";

export const accounts = {
  admin: { user: "ann", password },
  contacts: { user: "carl", password },
  viewer: { user: "vera", password },
} as const;

export interface Site {
  /** Without a slash at their ends. */
  pages: string;
  intake: string;
  /** The data folder, for the collector's commands. */
  data: string;
  /** The one-time link that a server without accounts prints; else empty. */
  setupLink: string;
  stop: () => Promise<void>;
}

export interface SiteOptions {
  data?: DataName;
  hasAccounts?: boolean;
}

export async function startSite({
  data: name = "usual",
  hasAccounts = true,
}: SiteOptions = {}): Promise<Site> {
  const { folder: data, remove } = await temporaryFolder();
  const set = dataSets[name];
  let server: Server | null = null;
  const stop = async () => {
    try {
      await server?.stop();
    } finally {
      await remove();
    }
  };
  try {
    await copyFiles(await madeFolder(name, hasAccounts), data);
    server = await Server.start(data, ...(set.options ?? []));
    await set.deliver?.(server.intake);
    const setupLink = hasAccounts ? "" : await server.logged(/http:\S+\/setup#\S+/);
    return { pages: server.pages, intake: server.intake, data, setupLink, stop };
  } catch (error) {
    await stop();
    throw error;
  }
}

/** A data folder to copy. It is made once for all tests of a run, which share their place for files. */
async function madeFolder(name: DataName, hasAccounts: boolean): Promise<string> {
  const place = path.join(
    os.tmpdir(),
    `made-${name.replaceAll(" ", "-")}${hasAccounts ? "" : "-bare"}`,
  );
  if (existsSync(place)) return place;
  const { folder, remove } = await temporaryFolder();
  try {
    const data = path.join(folder, "data");
    await mkdir(data);
    await dataSets[name].fill?.(data, folder);
    if (hasAccounts) await addAccounts(data);
    // Another process may have made the same in the meantime.
    await rename(data, place).catch((error: unknown) => {
      if (!existsSync(place)) throw error;
    });
    return place;
  } finally {
    await remove();
  }
}

async function copyFiles(from: string, to: string): Promise<void> {
  for (const name of await readdir(from))
    await copyFile(path.join(from, name), path.join(to, name));
}

async function addAccounts(data: string): Promise<void> {
  for (const [role, { user }] of Object.entries(accounts)) {
    await collectorWith(
      `${password}\n`,
      ...["user", "add", user, "--role", role, "--password-stdin", "--data", data],
    );
  }
}
