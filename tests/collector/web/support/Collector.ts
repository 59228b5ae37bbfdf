// The built collector: its commands, and the server.

import { execFile, spawn, type ChildProcess } from "node:child_process";
import path from "node:path";
import { createInterface } from "node:readline";
import { removeAtExit } from "./Temporary";

export const repository = process.env.PELTO_REPO ?? process.cwd();
const binary =
  process.env.PELTO_COLLECTOR ?? path.join(repository, "build/collector/pelto-collector");

/** What a command prints. Throws what it says on standard error if it fails. */
export function collector(...options: string[]): Promise<string> {
  return collectorWith("", ...options);
}

/** The same, with text on the command's standard input. */
export function collectorWith(input: string, ...options: string[]): Promise<string> {
  return new Promise((resolve, reject) => {
    const child = execFile(binary, options, { maxBuffer: 1 << 30 }, (error, stdout, stderr) => {
      if (error) reject(new Error(stderr.trim() || error.message));
      else resolve(stdout);
    });
    // A command that does not read its input can end before it is written.
    child.stdin?.on("error", () => undefined);
    child.stdin?.end(input);
  });
}

/** A server that a test started. Its addresses have no slash at their ends. */
export class Server {
  pages = "";
  intake = "";
  /** The latest lines of standard error, for a failure's message. */
  private readonly log: string[] = [];
  private readonly ended: Promise<unknown>;

  private constructor(
    private readonly child: ChildProcess,
    private readonly atExit: { forget: () => void },
  ) {
    // A program that cannot be started closes, too.
    child.on("error", (error) => this.log.push(error.message));
    this.ended = new Promise((resolve) => child.once("close", resolve));
  }

  /** Starts it, and waits until it listens. */
  static async start(data: string, ...options: string[]): Promise<Server> {
    const anywhere = ["--intake", "127.0.0.1:0", "--pages", "127.0.0.1:0"];
    const child = spawn(binary, ["serve", "--data", data, ...anywhere, ...options], {
      stdio: ["ignore", "pipe", "pipe"],
    });
    const server = new Server(
      child,
      removeAtExit(() => child.kill("SIGKILL")),
    );
    createInterface(child.stderr).on("line", (line) => {
      server.log.push(line);
      if (server.log.length > 100) server.log.shift();
    });
    try {
      await server.readAddresses(createInterface(child.stdout));
    } catch (error) {
      await server.kill();
      throw error;
    }
    return server;
  }

  /** What matches on standard error, once it is there. */
  async logged(pattern: RegExp): Promise<string> {
    for (const end = Date.now() + 10_000; Date.now() < end;) {
      for (const line of this.log) {
        const match = pattern.exec(line);
        if (match) return match[0];
      }
      await new Promise((resolve) => setTimeout(resolve, 20));
    }
    throw this.failure(`no line matches ${pattern.source}`);
  }

  /** Ends it as an operator does, and fails if it does not end well. */
  async stop(): Promise<void> {
    this.child.kill("SIGTERM");
    const timer = setTimeout(() => this.child.kill("SIGKILL"), 20_000);
    await this.ended;
    clearTimeout(timer);
    this.atExit.forget();
    if (this.child.exitCode !== 0) throw this.failure("the server did not end well");
  }

  private async readAddresses(lines: AsyncIterable<string>): Promise<void> {
    for await (const line of lines) {
      const [, name, address] = /^(intake|pages) (http:\/\/[\d.]+:\d+)\//.exec(line) ?? [];
      if (name === "intake") this.intake = address ?? "";
      if (name === "pages") this.pages = address ?? "";
      if (line === "ready") return;
    }
    throw this.failure("the server did not start");
  }

  private async kill(): Promise<void> {
    this.child.kill("SIGKILL");
    await this.ended;
    this.atExit.forget();
  }

  private failure(message: string): Error {
    return new Error([message, ...this.log.slice(-10)].join("\n"));
  }
}
