// Opens a report from the disk and draws what would be sent. It sends nothing.

import { bytes as formatBytes, counted, fileType, number } from '../data/format';
import { textOfProperty, textOfValue } from '../data/machines';
import { element, uniqueId } from '../dom';
import { figure } from '../parts/figure';
import { table } from '../parts/table';
import { readReport, ReportError, type Report } from './readReport';

type Level = 2 | 3;

function heading(level: Level, text: string): HTMLElement {
  return element(level === 2 ? 'h2' : 'h3', {}, text);
}

const listed = 30;
const mask = '••••••••';

function commandsFigure(report: Report, level: Level): HTMLElement {
  const rows = [...report.commands].sort((a, b) => b.uses - a.uses);
  const total = rows.reduce((all, row) => all + row.uses, 0);
  const first = rows[0];
  return figure({
    title: first
      ? `${counted(rows.length, 'command')}, used ${counted(total, 'time')}; ${first.name} most`
      : 'No commands are counted',
    subtitle: 'Uses of each command',
    rows,
    columns: [
      { name: 'Command', value: (row) => row.name },
      { name: 'Uses', value: (row) => row.uses },
      { name: 'Place of first use', value: (row) => row.order },
    ],
    chart: (charts, shown, width) =>
      charts.rankedBars(
        shown.map((row) => ({
          label: row.name,
          value: row.uses,
          columns: [number(row.uses), number(row.order)],
        })),
        { columns: ['Uses', 'First used'] },
        width,
      ),
    ...(rows.length > listed
      ? { search: { label: 'Search commands', text: (row: { name: string }) => row.name } }
      : {}),
    limit: listed,
    notes: ['“First used” is the place in the order in which you first used the commands.'],
    empty: 'The report holds no commands.',
    level,
    class: 'wide',
  });
}

function fileTypesFigure(report: Report, level: Level): HTMLElement {
  const sum = (row: { opened: number; saved: number }) => row.opened + row.saved;
  const rows = [...report.fileTypes].sort((a, b) => sum(b) - sum(a));
  const total = rows.reduce((all, row) => all + sum(row), 0);
  return figure({
    title: rows[0]
      ? `${counted(rows.length, 'file type')}, opened and saved ${counted(total, 'time')}`
      : 'No file types are counted',
    subtitle: 'Documents opened and saved',
    rows,
    columns: [
      { name: 'File type', value: (row) => fileType(row.name) },
      { name: 'Opened', value: (row) => row.opened },
      { name: 'Saved', value: (row) => row.saved },
    ],
    chart: (charts, shown, width) =>
      charts.pairedBars(
        shown.map((row) => ({ label: fileType(row.name), first: row.opened, second: row.saved })),
        ['opened', 'saved'],
        width,
      ),
    key: (charts) =>
      charts
        .partColors(2)
        .map((color, place) => ({ color, text: place === 0 ? 'opened' : 'saved' })),
    limit: listed,
    empty: 'The report holds no file types.',
    level,
  });
}

function valueText(entry: Report['machine'][number]): string {
  const sent = Number(entry.value);
  // Windows keeps the adapter's memory in 32 bits with a sign.
  const size = entry.name === 'AdapterRAM' && sent < 0 ? sent + 2 ** 32 : sent;
  const isSize = ['TotalPhysicalMemory', 'Size', 'AdapterRAM'].includes(entry.name);
  if (isSize && Number.isInteger(size) && size >= 0) return `${entry.value} (${formatBytes(size)})`;
  return textOfValue(entry.category, entry.name, entry.value);
}

function machineCard(report: Report, level: Level): HTMLElement {
  return element(
    'section',
    { class: 'card wide' },
    heading(level, 'Machine'),
    report.machine.length === 0
      ? element(
          'p',
          { class: 'empty' },
          'Not described yet. The run that sends the report adds the description.',
        )
      : table({
          caption: 'Description of the machine',
          columns: [
            { name: 'Property', value: (row) => textOfProperty(row.category, row.name).title },
            { name: 'Value', value: valueText },
          ],
          rows: [...report.machine].sort(
            (a, b) =>
              textOfProperty(a.category, a.name).place - textOfProperty(b.category, b.name).place,
          ),
        }),
  );
}

function identifiersCard(report: Report, level: Level): HTMLElement {
  const values = report.identifiers.map(({ name, value }) => {
    const shown = element('span', { class: 'code' }, mask);
    const button = element(
      'button',
      { type: 'button', class: 'button quiet', 'aria-label': `Show: ${name}` },
      'Show',
    );
    button.addEventListener('click', () => {
      const isMasked = shown.textContent === mask;
      shown.textContent = isMasked ? value : mask;
      button.textContent = isMasked ? 'Hide' : 'Show';
      button.setAttribute('aria-label', `${button.textContent}: ${name}`);
    });
    return element('div', {}, element('dt', {}, name), element('dd', {}, shown, button));
  });
  return element(
    'section',
    { class: 'card' },
    heading(level, 'Traceable to you or your machine'),
    values.length === 0
      ? element(
          'p',
          { class: 'empty' },
          'Nothing in this file. The run that sends the report adds the identifier of the installation.',
        )
      : element('dl', { class: 'identifiers' }, ...values),
  );
}

function drawReport(report: Report, name: string, level: Level): HTMLElement[] {
  const application = report.application
    ? `${report.application} ${report.version}`.trim()
    : 'Not named yet: the run that sends the report adds the application';
  return [
    element(
      'section',
      { class: 'card', tabindex: -1 },
      heading(level, name),
      element(
        'dl',
        { class: 'facts' },
        element('div', {}, element('dt', {}, 'Application'), element('dd', {}, application)),
        element('div', {}, element('dt', {}, 'Text encoding'), element('dd', {}, report.codePage)),
      ),
    ),
    element(
      'div',
      { class: 'figures' },
      commandsFigure(report, level),
      fileTypesFigure(report, level),
      identifiersCard(report, level),
      machineCard(report, level),
    ),
  ];
}

/** The viewer: a place for a file, and below it what is in the file, under headings of a level. */
export function viewer(level: Level): HTMLElement {
  const result = element('div', { class: 'content', 'aria-live': 'polite' });
  const inputId = uniqueId('file');
  const input = element('input', {
    id: inputId,
    type: 'file',
    accept: '.xml,text/xml,application/xml',
  });
  const zone = element(
    'div',
    { class: 'drop' },
    element(
      'p',
      { class: 'drop-title' },
      element('label', { for: inputId }, 'Open PeltoReport.xml'),
    ),
    input,
    element(
      'p',
      { class: 'hint' },
      'Or drop the file here. It is in the data folder of the application. It stays on your machine: this page reads it and sends nothing.',
    ),
  );

  const open = async (file: File) => {
    try {
      const report = readReport(new Uint8Array(await file.arrayBuffer()));
      result.replaceChildren(...drawReport(report, file.name, level));
      result.querySelector<HTMLElement>('section')?.focus();
    } catch (error) {
      const reason = error instanceof ReportError ? error.message : 'This file cannot be read.';
      result.replaceChildren(
        element(
          'div',
          { class: 'card notice bad', role: 'alert' },
          heading(level, `${file.name} cannot be shown`),
          element('p', {}, reason),
        ),
      );
    }
  };

  input.addEventListener('change', () => {
    const file = input.files?.[0];
    if (file) void open(file);
    // The same file can be chosen again after it has changed.
    input.value = '';
  });
  // A file that misses the zone would replace the page.
  for (const name of ['dragover', 'drop'])
    document.addEventListener(name, (event) => {
      event.preventDefault();
    });
  for (const name of ['dragenter', 'dragover'])
    zone.addEventListener(name, () => {
      zone.classList.add('is-over');
    });
  for (const name of ['dragleave', 'drop'])
    zone.addEventListener(name, () => {
      zone.classList.remove('is-over');
    });
  zone.addEventListener('drop', (event) => {
    const file = event.dataTransfer?.files[0];
    if (file) void open(file);
  });
  return element('div', { class: 'viewer' }, zone, result);
}
