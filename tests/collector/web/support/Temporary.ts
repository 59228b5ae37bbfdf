// Folders for a test's files, and what must not outlive the tests whatever ends them.

import { rmSync } from "node:fs";
import { mkdtemp, rm } from "node:fs/promises";
import os from "node:os";
import path from "node:path";

const remains = new Set<() => void>();

/** Lets `remove` run if this process ends before `forget` is called. It must not wait. */
export function removeAtExit(remove: () => void): { forget: () => void } {
  remains.add(remove);
  return { forget: () => remains.delete(remove) };
}

process.on("exit", () => {
  for (const remove of remains) remove();
});
for (const signal of ["SIGINT", "SIGTERM", "SIGHUP"] as const)
  process.on(signal, () => process.exit(1));

/** An empty folder, which its user removes. */
export async function temporaryFolder(): Promise<{ folder: string; remove: () => Promise<void> }> {
  const folder = await mkdtemp(path.join(os.tmpdir(), "pelto-web-"));
  const { forget } = removeAtExit(() => {
    rmSync(folder, { recursive: true, force: true });
  });
  return {
    folder,
    remove: async () => {
      await rm(folder, { recursive: true, force: true });
      forget();
    },
  };
}
