// The built collector, and data folders made with it.

import { execFile, spawn } from "node:child_process";
import { once } from "node:events";
import { cp, mkdtemp, readFile, rm, writeFile } from "node:fs/promises";
import os from "node:os";
import path from "node:path";
import { createInterface } from "node:readline";
import { promisify } from "node:util";

export const repository = process.env.PELTO_REPO ?? process.cwd();
const binary =
  process.env.PELTO_COLLECTOR ?? path.join(repository, "build/collector/pelto-collector");
const execute = promisify(execFile);

/** What a command prints. Throws what it says on standard error if it fails. */
export async function collector(...options: string[]): Promise<string> {
  try {
    const { stdout } = await execute(binary, options, { maxBuffer: 1 << 30 });
    return stdout;
  } catch (error) {
    const { stderr, code } = error as { stderr?: string; code?: number };
    throw new CommandError(
      (stderr ?? String(error)).replace(/^pelto-collector: /, "").trim(),
      code ?? -1,
    );
  }
}

export class CommandError extends Error {
  constructor(
    message: string,
    readonly code: number,
  ) {
    super(message);
  }
}

export type DataName = "usual" | "two products" | "empty" | "few" | "many commands";

const folders = new Map<DataName, Promise<string>>();
let root: Promise<string> | null = null;

function temporaryFolder(): Promise<string> {
  root ??= mkdtemp(path.join(os.tmpdir(), "pelto-web-"));
  return root;
}

/** A copy of a data folder, for a test of its own. It goes with `removeFolders`. */
export async function dataFolder(name: DataName): Promise<string> {
  let made = folders.get(name);
  if (!made) {
    made = makeFolder(name);
    folders.set(name, made);
  }
  const copy = await mkdtemp(path.join(await temporaryFolder(), "copy-"));
  await cp(await made, copy, { recursive: true });
  return copy;
}

export async function removeFolders(): Promise<void> {
  if (root) await rm(await root, { recursive: true, force: true });
  root = null;
  folders.clear();
}

async function makeFolder(name: DataName): Promise<string> {
  const folder = await mkdtemp(path.join(await temporaryFolder(), "data-"));
  switch (name) {
    case "usual":
      await importFleet(folder, "default", 300, 6);
      await refuseSome(folder);
      break;
    case "two products":
      await importFleet(folder, "designer", 200, 4);
      await importFleet(folder, "viewer", 60, 3);
      break;
    case "few":
      await importFleet(folder, "default", 3, 2);
      break;
    case "many commands":
      await importManyCommands(folder);
      break;
    case "empty":
      await collector("figures", "overview", "--data", folder);
      break;
  }
  return folder;
}

async function importFleet(
  folder: string,
  product: string,
  installations: number,
  periods: number,
): Promise<void> {
  const lines = path.join(folder, "fleet.ndjson");
  const truth = path.join(folder, "truth.json");
  // The last period ended before this day, whatever day it is.
  await collector(
    "fleet",
    "--installations",
    String(installations),
    "--periods",
    String(periods),
    "--seed",
    "7",
    "--until",
    "2026-03-22",
    "--ndjson",
    lines,
    "--truth",
    truth,
  );
  if (product !== "default") {
    const text = await readFile(lines, "utf8");
    await writeFile(lines, text.replaceAll('"product":"default"', `"product":"${product}"`));
  }
  await collector("import", lines, "--data", folder);
  await rm(lines);
  await rm(truth);
}

/** 20,000 commands, each of six installations. */
async function importManyCommands(folder: string): Promise<void> {
  const commands = Array.from({ length: 20_000 }, (_, place) => ({
    name: `Command ${place + 1}`,
    uses: 30_000 - place,
    order: place + 1,
  }));
  const lines = Array.from({ length: 6 }, (_, place) =>
    JSON.stringify({
      received: "2026-03-01T10:00:00Z",
      product: "default",
      id: `00000000-0000-4000-8000-00000000000${place}`,
      installation: `installation-${place}`,
      application: "Example Designer",
      version: "1.0.0.0",
      replaced: false,
      commands,
      file_types: [],
      machine: [],
    }),
  );
  const file = path.join(folder, "commands.ndjson");
  await writeFile(file, `${lines.join("\n")}\n`);
  await collector("import", file, "--data", folder);
  await rm(file);
}

/** Deliveries that a server refuses for several reasons. */
async function refuseSome(folder: string): Promise<void> {
  const server = spawn(
    binary,
    ["serve", "--data", folder, "--intake", "127.0.0.1:0", "--pages", "127.0.0.1:0"],
    { stdio: ["ignore", "pipe", "ignore"] },
  );
  const ended = once(server, "exit");
  try {
    let intake = "";
    for await (const line of createInterface(server.stdout)) {
      if (line.startsWith("intake ")) intake = line.slice("intake ".length);
      if (line === "ready") break;
    }
    const empty = new FormData();
    empty.set("peltorpt", "QQ==");
    for (let count = 0; count < 3; ++count)
      await fetch(intake, { method: "POST", body: "no form" });
    await fetch(intake, { method: "POST", body: empty });
  } finally {
    server.kill("SIGTERM");
    await ended;
  }
}
