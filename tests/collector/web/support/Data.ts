// What a site has when its tests begin.

import { randomUUID } from "node:crypto";
import { readFile, writeFile } from "node:fs/promises";
import path from "node:path";
import { collector } from "./Collector";
import { temporaryFolder } from "./Temporary";

export type DataName = "usual" | "two products" | "empty" | "few" | "many commands";

interface DataSet {
  /** The server's options that go with it. */
  options?: string[];
  /** Fills the data folder; other files of its own are in `scratch`. */
  fill?: (folder: string, scratch: string) => Promise<void>;
  /** Deliveries to the running server. */
  deliver?: (intake: string) => Promise<void>;
}

export const dataSets: Record<DataName, DataSet> = {
  usual: {
    fill: (folder, scratch) => importFleet(folder, scratch, "default", 300, 6),
    deliver: refuseSome,
  },
  "two products": {
    options: ["--product", "designer", "--product", "viewer"],
    fill: async (folder, scratch) => {
      await importFleet(folder, scratch, "designer", 200, 4);
      await importFleet(folder, scratch, "viewer", 60, 3);
    },
  },
  few: { fill: (folder, scratch) => importFleet(folder, scratch, "default", 3, 2) },
  "many commands": { fill: importManyCommands },
  empty: {},
};

async function importFleet(
  folder: string,
  scratch: string,
  product: string,
  installations: number,
  periods: number,
): Promise<void> {
  const lines = path.join(scratch, "fleet.ndjson");
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
    path.join(scratch, "truth.json"),
  );
  if (product !== "default") {
    const text = await readFile(lines, "utf8");
    await writeFile(lines, text.replaceAll('"product":"default"', `"product":"${product}"`));
  }
  await collector("import", lines, "--data", folder);
}

/** 20,000 commands, each of six installations. */
async function importManyCommands(folder: string, scratch: string): Promise<void> {
  const commands = Array.from({ length: 20_000 }, (_, place) => ({
    name: `Command ${place + 1}`,
    uses: 30_000 - place,
    order: place + 1,
  }));
  const lines = Array.from({ length: 6 }, (_, place) => ({
    received: "2026-03-01T10:00:00Z",
    id: `00000000-0000-4000-8000-00000000000${place}`,
    installation: `installation-${place}`,
    commands,
  }));
  await importLines(folder, scratch, lines);
}

/** That many reports of one installation, a minute apart; gives their times. */
export async function importReports(
  folder: string,
  installation: string,
  count: number,
): Promise<string[]> {
  const lines = Array.from({ length: count }, (_, place) => ({
    received: new Date(Date.UTC(2026, 2, 1, 0, place)).toISOString().replace(".000Z", "Z"),
    id: randomUUID(),
    installation,
    commands: [{ name: "Line", uses: 1, order: 1 }],
  }));
  const scratch = await temporaryFolder();
  try {
    await importLines(folder, scratch.folder, lines);
  } finally {
    await scratch.remove();
  }
  return lines.map(({ received }) => received);
}

/** Deliveries as `import` takes them; what they do not name is the same for all. */
async function importLines(folder: string, scratch: string, deliveries: object[]): Promise<void> {
  const common = {
    product: "default",
    application: "Example Designer",
    version: "1.0.0.0",
    replaced: false,
    file_types: [],
    machine: [],
  };
  const file = path.join(scratch, "lines.ndjson");
  const lines = deliveries.map((delivery) => JSON.stringify({ ...common, ...delivery }));
  await writeFile(file, `${lines.join("\n")}\n`);
  await collector("import", file, "--data", folder);
}

/** Deliveries that are refused for several reasons. */
async function refuseSome(intake: string): Promise<void> {
  const empty = new FormData();
  empty.set("peltorpt", "QQ==");
  for (const body of ["no form", "no form", "no form", empty])
    await fetch(`${intake}/collect`, { method: "POST", body });
}
