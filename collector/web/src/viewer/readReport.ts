// Reads a report file in the browser. Nothing of it leaves the page.

import { codePageOf } from './codePage';
import { parseXml, XmlError, type XmlElement } from './xml';

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

function count(text: string): number {
  const number = Number.parseInt(text, 10);
  if (Number.isNaN(number) || number < 0) return 0;
  return Math.min(number, largestCount);
}

function parse(text: string): XmlElement {
  try {
    return parseXml(text);
  } catch (error) {
    if (!(error instanceof XmlError)) throw error;
    throw new ReportError('This file is not whole XML. It may be cut off, or not a report.');
  }
}

function childrenOf(element: XmlElement | undefined, name: string): XmlElement[] {
  return element?.children.filter((child) => child.name === name) ?? [];
}

/** The elements at the end of a path of names; of the others on it, the first of each counts. */
function elementsAt(root: XmlElement, ...path: string[]): XmlElement[] {
  const last = path.pop() ?? '';
  return childrenOf(
    path.reduce<XmlElement | undefined>((element, name) => childrenOf(element, name)[0], root),
    last,
  );
}

function textOf(element: XmlElement | undefined): string {
  return (element?.text ?? '').replace(/\s+/g, ' ').trim();
}

function unique<Entry extends { name: string }>(entries: Entry[]): Entry[] {
  const seen = new Set<string>();
  return entries.filter(({ name }) => !seen.has(name) && seen.add(name));
}

/** Throws `ReportError` for what is no report. */
export function readReport(bytes: Uint8Array): Report {
  if (bytes.length === 0) throw new ReportError('This file is empty.');
  if (bytes.length > largestReport)
    throw new ReportError('This file is larger than 4 MiB. No report is that large.');
  const codePage = codePageOf(bytes);
  const report = parse(new TextDecoder(codePage).decode(bytes));
  if (report.name !== 'PeltoRpt') {
    throw new ReportError(
      'This XML file is not a report. The one to open is PeltoReport.xml in the data folder of the application.',
    );
  }
  const attribute = (element: XmlElement, name: string) => element.attributes.get(name) ?? '';
  const properties = (group: string) => elementsAt(report, group, 'prop');
  const property = (group: string, name: string) =>
    textOf(
      properties(group).find(
        (entry) => attribute(entry, 'name') === name && !entry.attributes.has('cat'),
      ),
    );

  const machine = properties('sys_info')
    .filter((entry) => entry.attributes.has('cat'))
    .map((entry) => ({
      category: attribute(entry, 'cat'),
      name: attribute(entry, 'name'),
      value: textOf(entry),
    }));
  const isAddress = (entry: { name: string }) => entry.name === 'MACAddress';
  const identifiers = [
    { name: 'Identifier of this installation', value: property('sys_info', 'ID') },
    { name: 'E-mail address', value: property('cust_info', 'Email') },
    {
      name: 'Hardware address of the network adapter',
      value: machine.find(isAddress)?.value ?? '',
    },
  ];
  return {
    codePage,
    application: property('app_info', 'app_name'),
    version: property('app_info', 'app_ver'),
    commands: unique(
      elementsAt(report, 'cmd_stat', 'cmds', 'cmd').map((entry) => ({
        name: attribute(entry, 'name'),
        uses: count(attribute(entry, 'count')),
        order: count(attribute(entry, 'id')),
      })),
    ),
    fileTypes: unique(
      elementsAt(report, 'ftype_stat', 'ftypes', 'ftype').map((entry) => ({
        name: attribute(entry, 'name'),
        opened: count(attribute(entry, 'ocnt')),
        saved: count(attribute(entry, 'scnt')),
      })),
    ),
    machine: machine.filter((entry) => !isAddress(entry)),
    identifiers: identifiers.filter(({ value }) => value !== ''),
  };
}
