// Requests to the server.

import { figureAddress, type Figure, type FigureName, type FigureRows } from './figures';
import type { Filter } from './filter';

/** What the server refused, with its reason in words. */
export class RequestError extends Error {
  constructor(
    readonly status: number,
    message: string,
    /** The members of the server's problem details. */
    readonly problem: Record<string, unknown> = {},
    /** In seconds; null if the server did not say. */
    readonly retryAfter: number | null = null,
  ) {
    super(message);
  }
}

async function refusalOf(response: Response): Promise<RequestError> {
  let problem: Record<string, unknown> = {};
  try {
    const body: unknown = await response.json();
    if (typeof body === 'object' && body !== null) problem = body as Record<string, unknown>;
  } catch {
    // What is between browser and server may send pages of its own.
  }
  const reason = [problem.detail, problem.title].find(
    (text) => typeof text === 'string' && text !== '',
  );
  const retryAfter = Number.parseInt(response.headers.get('Retry-After') ?? '', 10);
  return new RequestError(
    response.status,
    typeof reason === 'string' ? reason : `The server refused the request (${response.status}).`,
    problem,
    Number.isNaN(retryAfter) ? null : retryAfter,
  );
}

async function request(method: string, address: string, body?: unknown): Promise<Response> {
  const options: RequestInit = { method, credentials: 'same-origin', cache: 'no-store' };
  if (body !== undefined) {
    options.headers = { 'Content-Type': 'application/json' };
    options.body = JSON.stringify(body);
  }
  let response: Response;
  try {
    response = await fetch(address, options);
  } catch {
    throw new RequestError(0, 'The server cannot be reached.');
  }
  if (!response.ok) throw await refusalOf(response);
  return response;
}

/** The JSON that the server returns. Throws `RequestError`. */
export async function get<Result>(address: string): Promise<Result> {
  const response = await request('GET', address);
  return (await response.json()) as Result;
}

/** Sends JSON; the result is the JSON that comes back, null if nothing does. Throws `RequestError`. */
export async function send<Result>(
  method: 'POST' | 'PUT' | 'DELETE',
  address: string,
  body?: unknown,
): Promise<Result | null> {
  const response = await request(method, address, body);
  const text = await response.text();
  return text ? (JSON.parse(text) as Result) : null;
}

export function getFigure<Name extends FigureName>(
  name: Name,
  filter: Filter,
): Promise<Figure<FigureRows[Name]>> {
  return get(figureAddress(name, filter)('json'));
}

export type Role = 'viewer' | 'contacts' | 'admin';

export interface Session {
  user: string;
  role: Role;
}

export interface Product {
  name: string;
  /** The first day of its first period and the last day of its last one; null without a report. */
  from: string | null;
  to: string | null;
}

export interface Keeping {
  threshold: number;
  retention_days: number | null;
  forget_silent_days: number | null;
  keeps_email: boolean;
  keeps_adapter: boolean;
  products: {
    name: string;
    /** A day. All four are null where fewer installations than the threshold report. */
    since: string | null;
    deliveries: number | null;
    installations: number | null;
    raw_reports: number | null;
  }[];
}

export interface Contact {
  address: string;
  received: string;
}

export interface Receipt {
  erased: { installations: number; deliveries: number; contacts: number };
  at: string;
  subject: string;
  signature: string;
}

export interface Account {
  name: string;
  role: Role;
}

export interface AuditEntry {
  number: number;
  at: string;
  user: string | null;
  action: string;
  detail: string | null;
}

export interface Kept {
  /** The latest ones only, if there are very many. */
  deliveries: {
    received: string;
    product: string;
    version: string;
    commands: number;
    file_types: number;
    has_raw_report: boolean;
  }[];
  total: number;
  has_email: boolean;
}
