// A small server in place of the collector's: it serves the built pages with the headers that the
// collector sends, and takes figures, exports and erasures from the collector's commands.

import { randomBytes } from "node:crypto";
import { readFile } from "node:fs/promises";
import { createServer, type IncomingMessage, type Server, type ServerResponse } from "node:http";
import type { AddressInfo } from "node:net";
import path from "node:path";
import { collector, CommandError, repository } from "./Collector";

export const pagesFolder = process.env.PELTO_WEB ?? path.join(repository, "build/web");

const headers = {
  "Content-Security-Policy":
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; font-src 'self'; connect-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'",
  "X-Content-Type-Options": "nosniff",
  "Referrer-Policy": "no-referrer",
  "Cross-Origin-Opener-Policy": "same-origin",
  "Permissions-Policy": "camera=(), microphone=(), geolocation=()",
};

const types: Record<string, string> = {
  ".html": "text/html; charset=utf-8",
  ".js": "text/javascript; charset=utf-8",
  ".css": "text/css; charset=utf-8",
  ".svg": "image/svg+xml",
};

interface StandInAccount {
  password: string;
  role: string;
}

export interface StandInOptions {
  data: string;
  accounts: Record<string, StandInAccount>;
  /** The token of the one-time link. */
  setupToken: string;
}

class Problem extends Error {
  constructor(
    readonly status: number,
    detail: string,
    readonly members: Record<string, unknown> = {},
    readonly headers: Record<string, string> = {},
  ) {
    super(detail);
  }
}

interface Call {
  request: IncomingMessage;
  response: ServerResponse;
  url: URL;
  body: Record<string, string>;
}

/** What the kept deliveries of an installation look like in an export. */
interface ExportedDelivery {
  received: string;
  product: string;
  version: string;
  commands: unknown[];
  file_types: unknown[];
}

export class StandIn {
  private readonly sessions = new Map<string, string>();
  private readonly entries: {
    number: number;
    at: string;
    user: string | null;
    action: string;
    detail: string | null;
  }[] = [];
  private readonly failures = new Map<string, number>();
  private readonly contacts = new Map([
    ["anna@example.com", "2026-02-03T09:15:00Z"],
    ["omar@example.org", "2026-03-01T17:40:00Z"],
  ]);
  private asked = 0;
  private readonly pages: Server;
  private readonly intake: Server;

  private constructor(private readonly options: StandInOptions) {
    this.pages = createServer(
      (request, response) => void this.respond(request, response, (call) => this.servePages(call)),
    );
    this.intake = createServer(
      (request, response) => void this.respond(request, response, (call) => this.serveIntake(call)),
    );
  }

  static async start(options: StandInOptions): Promise<StandIn> {
    const server = new StandIn(options);
    for (const listener of [server.pages, server.intake]) {
      await new Promise<void>((resolve) => listener.listen(0, "127.0.0.1", resolve));
    }
    return server;
  }

  get pagesUrl(): string {
    return `http://127.0.0.1:${(this.pages.address() as AddressInfo).port}`;
  }

  get intakeUrl(): string {
    return `http://127.0.0.1:${(this.intake.address() as AddressInfo).port}`;
  }

  async stop(): Promise<void> {
    for (const listener of [this.pages, this.intake]) {
      listener.closeAllConnections();
      await new Promise((resolve) => listener.close(resolve));
    }
  }

  private async respond(
    request: IncomingMessage,
    response: ServerResponse,
    serve: (call: Call) => Promise<void>,
  ): Promise<void> {
    try {
      const chunks: Buffer[] = [];
      for await (const chunk of request) chunks.push(chunk as Buffer);
      const text = Buffer.concat(chunks).toString();
      const body = text ? (JSON.parse(text) as Record<string, string>) : {};
      for (const [name, value] of Object.entries(headers)) response.setHeader(name, value);
      await serve({
        request,
        response,
        url: new URL(request.url ?? "/", "http://127.0.0.1"),
        body,
      });
    } catch (error) {
      const problem = error instanceof Problem ? error : new Problem(500, String(error));
      response.writeHead(problem.status, {
        "Content-Type": "application/problem+json",
        ...problem.headers,
      });
      response.end(
        JSON.stringify({
          type: "about:blank",
          title: "Problem",
          status: problem.status,
          detail: problem.message,
          ...problem.members,
        }),
      );
    }
  }

  private async sendFile(response: ServerResponse, name: string): Promise<void> {
    let content: Buffer;
    try {
      content = await readFile(path.join(pagesFolder, name));
    } catch {
      throw new Problem(404, "there is no such page");
    }
    const isAsset = name.startsWith("assets/");
    response.writeHead(200, {
      "Content-Type": types[path.extname(name)] ?? "application/octet-stream",
      "Cache-Control": isAsset ? "public, max-age=31536000, immutable" : "no-store",
    });
    response.end(content);
  }

  private sendJson(
    response: ServerResponse,
    status: number,
    body: unknown,
    more: Record<string, string> = {},
  ): void {
    response.writeHead(status, { "Content-Type": "application/json", ...more });
    response.end(JSON.stringify(body));
  }

  private async servePages(call: Call): Promise<void> {
    const { pathname } = call.url;
    if (pathname.startsWith("/api/")) return this.serveApi(call);
    if (/^\/assets\/[\w.-]+$/.test(pathname))
      return this.sendFile(call.response, pathname.slice(1));
    return this.sendFile(call.response, "index.html");
  }

  private async serveIntake(call: Call): Promise<void> {
    const { pathname } = call.url;
    if (pathname === "/mine") return this.sendFile(call.response, "mine.html");
    if (/^\/mine\/assets\/[\w.-]+$/.test(pathname))
      return this.sendFile(call.response, pathname.slice("/mine/".length));
    if (call.request.method !== "POST") throw new Problem(404, "refused: unknown-product");
    if (++this.asked > 20) throw new Problem(429, "too many requests");
    const { installation = "" } = call.body;
    if (pathname === "/mine/kept") {
      const deliveries = (
        await collector("export", "--data", this.options.data, "--installation", installation)
      )
        .split("\n")
        .filter((line) => line !== "")
        .map((line) => JSON.parse(line) as ExportedDelivery)
        .map(({ received, product, version, commands, file_types }) => ({
          received,
          product,
          version,
          commands: commands.length,
          file_types: file_types.length,
          has_raw_report: false,
        }));
      this.sendJson(call.response, 200, { deliveries, has_email: false });
      return;
    }
    if (pathname === "/mine/erase") {
      this.sendJson(call.response, 200, await this.erase({ installation }));
      return;
    }
    throw new Problem(404, "refused: unknown-product");
  }

  private async erase(subject: Record<string, string>): Promise<unknown> {
    const option =
      subject.email === undefined
        ? ["--installation", subject.installation ?? ""]
        : ["--email", subject.email];
    return JSON.parse(await collector("erase", "--data", this.options.data, ...option));
  }

  private note(user: string | null, action: string, detail: string | null = null): void {
    this.entries.unshift({
      number: this.entries.length + 1,
      at: new Date().toISOString(),
      user,
      action,
      detail,
    });
  }

  private begin(user: string): Record<string, string> {
    const token = randomBytes(16).toString("hex");
    this.sessions.set(token, user);
    return { "Set-Cookie": `session=${token}; HttpOnly; SameSite=Strict; Path=/` };
  }

  private tokenOf(call: Call): string {
    return /(?:^|; )session=(\w+)/.exec(call.request.headers.cookie ?? "")?.[1] ?? "";
  }

  private requireRole(call: Call, role: "viewer" | "contacts" | "admin"): string {
    const user = this.sessions.get(this.tokenOf(call));
    const account = user === undefined ? undefined : this.options.accounts[user];
    if (user === undefined || !account) {
      const isEmpty = Object.keys(this.options.accounts).length === 0;
      throw new Problem(401, "nobody is logged in", isEmpty ? { setup: true } : {});
    }
    const order = ["viewer", "contacts", "admin"];
    if (order.indexOf(account.role) < order.indexOf(role))
      throw new Problem(403, `this needs the role ${role}`);
    return user;
  }

  private async serveApi(call: Call): Promise<void> {
    const { request, response, url, body } = call;
    const { accounts, data, setupToken } = this.options;
    const site = request.headers["sec-fetch-site"];
    if (request.method !== "GET" && site !== "same-origin")
      throw new Problem(403, "another site sent this");
    const [, figure] = /^\/api\/v1\/figures\/([\w-]+)$/.exec(url.pathname) ?? [];
    const [, account] = /^\/api\/v1\/users\/([^/]+)$/.exec(url.pathname) ?? [];
    const value = (name: string) => url.searchParams.get(name) ?? "";

    switch (
      `${request.method ?? ""} ${figure ? "/api/v1/figures/NAME" : account ? "/api/v1/users/NAME" : url.pathname}`
    ) {
      case "GET /api/v1/session": {
        const user = this.requireRole(call, "viewer");
        this.sendJson(response, 200, { user, role: accounts[user]?.role });
        return;
      }
      case "POST /api/v1/session": {
        const { user = "", password = "" } = body;
        if ((this.failures.get(user) ?? 0) >= 10)
          throw new Problem(429, "too many wrong passwords", {}, { "Retry-After": "60" });
        if (accounts[user]?.password !== password) {
          this.failures.set(user, (this.failures.get(user) ?? 0) + 1);
          this.note(accounts[user] ? user : "", "log-in-failed");
          throw new Problem(401, "the name or the password is wrong");
        }
        this.note(user, "log-in");
        this.sendJson(response, 200, { user, role: accounts[user].role }, this.begin(user));
        return;
      }
      case "DELETE /api/v1/session":
        this.note(this.requireRole(call, "viewer"), "log-out");
        this.sessions.delete(this.tokenOf(call));
        response.writeHead(204).end();
        return;
      case "PUT /api/v1/session/password": {
        const user = this.requireRole(call, "viewer");
        const { old = "", new: next = "" } = body;
        const own = accounts[user];
        if (own?.password !== old) throw new Problem(403, "the old password is wrong");
        own.password = next;
        response.writeHead(204).end();
        return;
      }
      case "POST /api/v1/setup": {
        const { token = "", user = "", password = "" } = body;
        if (token !== setupToken || Object.keys(accounts).length > 0)
          throw new Problem(403, "this link was used already, or is not the latest");
        if (password.length < 10) throw new Problem(422, "a password has at least 10 characters");
        accounts[user] = { password, role: "admin" };
        this.note(user, "setup");
        this.sendJson(response, 201, { user, role: "admin" }, this.begin(user));
        return;
      }
      case "GET /api/v1/products":
        this.requireRole(call, "viewer");
        this.sendJson(response, 200, { products: await this.products() });
        return;
      case "GET /api/v1/figures/NAME": {
        this.requireRole(call, "viewer");
        const filter = ["product", "version", "from", "to"].flatMap((name) =>
          value(name) ? [`--${name}`, value(name)] : [],
        );
        const format = value("format") || "json";
        try {
          const text = await collector(
            "figures",
            figure ?? "",
            "--data",
            data,
            ...filter,
            "--format",
            format,
          );
          response.writeHead(200, {
            "Content-Type": format === "csv" ? "text/csv; charset=utf-8" : "application/json",
            ...(format === "csv"
              ? { "Content-Disposition": `attachment; filename="${figure ?? ""}.csv"` }
              : {}),
          });
          response.end(text);
        } catch (error) {
          throw error instanceof CommandError ? new Problem(400, error.message) : error;
        }
        return;
      }
      case "GET /api/v1/keeping":
        this.requireRole(call, "viewer");
        this.sendJson(response, 200, {
          threshold: 5,
          retention_days: 400,
          forget_silent_days: null,
          keeps_email: true,
          keeps_adapter: false,
          products: await Promise.all(
            (await this.products()).map(({ name }) => this.keepingOf(name)),
          ),
        });
        return;
      case "GET /api/v1/contacts": {
        this.requireRole(call, "contacts");
        const contacts = [...this.contacts].map(([address, received]) => ({ address, received }));
        if (value("format") === "csv") {
          response.writeHead(200, {
            "Content-Type": "text/csv; charset=utf-8",
            "Content-Disposition": 'attachment; filename="contacts.csv"',
          });
          response.end(
            `address,received\r\n${contacts.map((row) => `${row.address},${row.received}\r\n`).join("")}`,
          );
        } else {
          this.sendJson(response, 200, { contacts });
        }
        return;
      }
      case "POST /api/v1/erasures": {
        const user = this.requireRole(call, "admin");
        const receipt = await this.erase(body);
        this.note(user, "erase", "one installation");
        this.sendJson(response, 200, receipt);
        return;
      }
      case "GET /api/v1/export": {
        const user = this.requireRole(call, "admin");
        const only = value("installation") ? ["--installation", value("installation")] : [];
        this.note(user, "export", only.length ? "one installation" : "everything");
        response.writeHead(200, {
          "Content-Type": "application/x-ndjson",
          "Content-Disposition": 'attachment; filename="export.ndjson"',
        });
        response.end(await collector("export", "--data", data, ...only));
        return;
      }
      case "GET /api/v1/users":
        this.requireRole(call, "admin");
        this.sendJson(response, 200, {
          users: Object.entries(accounts).map(([name, { role }]) => ({ name, role })),
        });
        return;
      case "POST /api/v1/users": {
        const user = this.requireRole(call, "admin");
        const { name = "", password = "", role = "" } = body;
        if (accounts[name]) throw new Problem(409, `the account ${name} exists already`);
        accounts[name] = { password, role };
        this.note(user, "user-add", `${name}: ${role}`);
        this.sendJson(response, 201, { name, role });
        return;
      }
      case "PUT /api/v1/users/NAME":
      case "DELETE /api/v1/users/NAME": {
        const user = this.requireRole(call, "admin");
        const name = decodeURIComponent(account ?? "");
        const changed = accounts[name];
        if (!changed) throw new Problem(404, `there is no account ${name}`);
        const isRemoved = request.method === "DELETE";
        const isLast = Object.values(accounts).filter(({ role }) => role === "admin").length === 1;
        if (
          changed.role === "admin" &&
          isLast &&
          (isRemoved || (body.role ?? "admin") !== "admin")
        ) {
          throw new Problem(409, `${name} is the last account of the role admin`);
        }
        if (isRemoved) Reflect.deleteProperty(accounts, name);
        else Object.assign(changed, body);
        this.note(user, isRemoved ? "user-remove" : "user-change", name);
        response.writeHead(204).end();
        return;
      }
      case "GET /api/v1/audit": {
        this.requireRole(call, "admin");
        const before = Number(value("before") || Infinity);
        const entries = this.entries
          .filter(({ number }) => number < before)
          .slice(0, Number(value("limit") || 100));
        this.sendJson(response, 200, { entries });
        return;
      }
      default:
        throw new Problem(404, "there is no such thing");
    }
  }

  private async products(): Promise<{ name: string; from: string | null; to: string | null }[]> {
    let names = ["default"];
    try {
      const overview = JSON.parse(
        await collector("figures", "overview", "--data", this.options.data),
      ) as { rows: unknown[]; withheld: { rows: number } };
      if (overview.rows.length + overview.withheld.rows === 0)
        return [{ name: "default", from: null, to: null }];
    } catch (error) {
      // "name one of the products: a, b"
      names = (error instanceof Error ? error.message : "").replace(/^.*: /, "").split(", ");
    }
    return Promise.all(
      names.map(async (name) => {
        const overview = JSON.parse(
          await collector(
            "figures",
            "overview",
            "--data",
            this.options.data,
            "--product",
            name,
            "--threshold",
            "1",
          ),
        ) as { rows: { period: string }[] };
        const [first, last] = [overview.rows[0], overview.rows.at(-1)];
        if (!first || !last) return { name, from: null, to: null };
        const end = new Date(Date.parse(last.period) + 27 * 86_400_000);
        return { name, from: first.period, to: end.toISOString().slice(0, 10) };
      }),
    );
  }

  private async keepingOf(name: string): Promise<unknown> {
    const overview = JSON.parse(
      await collector("figures", "overview", "--data", this.options.data, "--product", name),
    ) as {
      installations: number | null;
      rows: { period: string; reports: number }[];
    };
    const reports = overview.rows.reduce((all, row) => all + row.reports, 0);
    const [first] = overview.rows;
    return {
      name,
      since: first ? `${first.period}T10:00:00Z` : null,
      deliveries: reports,
      installations: overview.installations,
      raw_reports: reports,
    };
  }
}
