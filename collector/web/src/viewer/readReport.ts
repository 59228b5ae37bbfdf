// Reads a report file in the browser. Nothing of it leaves the page.

import { codePageOf } from './codePage';

export interface Report {
  codePage: string;
  application: string;
  version: string;
  /** In the order of the file; a name that comes twice counts once, as its first. */
  commands: { name: string; uses: number; order: number }[];
  fileTypes: { name: string; opened: number; saved: number }[];
  machine: { category: string; name: string; value: string }[];
  /** What can be traced to a person or a machine, by what it is. */
  identifiers: { name: string; value: string }[];
}

/** Why a file cannot be shown, in words for its owner. */
export class ReportError extends Error {}

/** The largest file that is opened; the server takes no more in a delivery either. */
export const largestReport = 4 * 1024 * 1024;

const largestCount = 1_000_000_000;

function count(text: string | null): number {
  const number = Number.parseInt(text ?? '', 10);
  if (Number.isNaN(number) || number < 0) return 0;
  return Math.min(number, largestCount);
}

/**
 * The sender writes control characters as references, which the browser's parser does not take.
 * They become the sign for a character that cannot be shown.
 */
function withoutControlReferences(text: string): string {
  return text.replace(/&#(?:x0*(?:[0-8bcef]|1[0-9a-f])|0*(?:[0-8]|1[124-9]|2[0-9]|3[01]));/gi, '\uFFFD');
}

function parse(text: string): Document {
  // A report has none. Without it there are no entities, neither nested nor from elsewhere.
  if (/<!DOCTYPE/i.test(text)) throw new ReportError('This file has a document type, which no report has. It is not opened.');
  const parsed = new DOMParser().parseFromString(withoutControlReferences(text), 'application/xml');
  if (parsed.getElementsByTagName('parsererror').length > 0) {
    throw new ReportError('This file is not whole XML. It may be cut off, or not a report.');
  }
  return parsed;
}

function unique<Entry extends { name: string }>(entries: Entry[]): Entry[] {
  const seen = new Set<string>();
  return entries.filter(({ name }) => !seen.has(name) && seen.add(name));
}

/** Throws `ReportError` for what is no report. */
export function readReport(bytes: Uint8Array): Report {
  if (bytes.length === 0) throw new ReportError('This file is empty.');
  if (bytes.length > largestReport) throw new ReportError('This file is larger than 4 MiB. No report is that large.');
  const codePage = codePageOf(bytes);
  const report = parse(new TextDecoder(codePage).decode(bytes)).documentElement;
  if (report.nodeName !== 'PeltoRpt') {
    throw new ReportError('This XML file is not a report. The one to open is PeltoReport.xml in the data folder of the application.');
  }
  const all = (path: string) => [...report.querySelectorAll(path)];
  const text = (element: Element) => element.textContent.trim();
  const property = (path: string) => all(path).map(text)[0] ?? '';

  const machine = all(':scope > sys_info > prop[cat]').map((entry) => ({
    category: entry.getAttribute('cat') ?? '',
    name: entry.getAttribute('name') ?? '',
    value: text(entry),
  }));
  const isAddress = (entry: { name: string }) => entry.name === 'MACAddress';
  const identifiers = [
    { name: 'Identifier of this installation', value: property(':scope > sys_info > prop[name="ID"]:not([cat])') },
    { name: 'E-mail address', value: property(':scope > cust_info > prop[name="Email"]') },
    { name: 'Hardware address of the network adapter', value: machine.find(isAddress)?.value ?? '' },
  ];
  return {
    codePage,
    application: property(':scope > app_info > prop[name="app_name"]'),
    version: property(':scope > app_info > prop[name="app_ver"]'),
    commands: unique(
      all(':scope > cmd_stat > cmds > cmd').map((entry) => ({
        name: entry.getAttribute('name') ?? '',
        uses: count(entry.getAttribute('count')),
        order: count(entry.getAttribute('id')),
      })),
    ),
    fileTypes: unique(
      all(':scope > ftype_stat > ftypes > ftype').map((entry) => ({
        name: entry.getAttribute('name') ?? '',
        opened: count(entry.getAttribute('ocnt')),
        saved: count(entry.getAttribute('scnt')),
      })),
    ),
    machine: machine.filter((entry) => !isAddress(entry)),
    identifiers: identifiers.filter(({ value }) => value !== ''),
  };
}
