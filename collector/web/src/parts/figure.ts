// A figure: a title that says what is seen, the chart, and the same numbers as a table and as files.

import type * as Charts from '../charts/charts';
import { csvOf } from '../data/csv';
import type { FigureAddress } from '../data/figures';
import { counted, number } from '../data/format';
import { download, element, uniqueId, type Child } from '../dom';
import { table, type Column } from './table';

/** Adds the charts, which are a file of their own, when the first of them is drawn. */
export function loadCharts(): Promise<typeof Charts> {
  return import('../charts/charts');
}

export interface KeyEntry {
  text: string;
  color: string;
}

export interface FigureModel<Row> {
  /** The finding. */
  title: string;
  /** What the numbers are, and their units. */
  subtitle: string;
  rows: Row[];
  columns: Column<Row>[];
  /** The picture of rows at a width. */
  chart: (charts: typeof Charts, rows: Row[], width: number) => Element;
  key?: (charts: typeof Charts) => KeyEntry[];
  /** What can be searched for; the text of the row that is searched in. */
  search?: { label: string; text: (row: Row) => string };
  /** The largest number of rows in the chart. */
  limit?: number;
  /** Of the same rows at the server; without it the files are made here. */
  address?: FigureAddress;
  withheld?: { rows: number; threshold: number; what: string };
  notes?: string[];
  empty?: string;
  /** A link to more of the same. */
  more?: Child;
  level?: 2 | 3;
  class?: string;
}

/** Why rows are missing; null if none is. */
export function withheldNote(withheld: {
  rows: number;
  threshold: number;
  what: string;
}): string | null {
  if (withheld.rows === 0) return null;
  const rows = withheld.rows === 1 ? '1 row is' : `${number(withheld.rows)} rows are`;
  return `${rows} withheld: ${withheld.what} on fewer than ${number(withheld.threshold)} installations, or would let such a number be worked out.`;
}

function key(entries: KeyEntry[]): HTMLElement {
  return element(
    'ul',
    { class: 'key' },
    ...entries.map((entry) => {
      const swatch = element('span', { class: 'swatch', 'aria-hidden': 'true' });
      swatch.style.setProperty('background', entry.color);
      return element('li', {}, swatch, entry.text);
    }),
  );
}

/** Links to the figure's files at the server, or buttons that make them of the rows. */
function files<Row>({ title, address, columns, rows }: FigureModel<Row>): HTMLElement[] {
  const shared = (format: string) => ({
    class: 'button quiet',
    'aria-label': `${format}: ${title}`,
  });
  if (address) {
    return [
      element('a', { ...shared('CSV'), href: address('csv'), download: true }, 'CSV'),
      element(
        'a',
        { ...shared('JSON'), href: address('json'), target: '_blank', rel: 'noopener' },
        'JSON',
      ),
    ];
  }
  const saveCsv = () => {
    const values = rows.map((row) => columns.map((column) => column.value(row)));
    download(
      'figure.csv',
      csvOf(
        columns.map((column) => column.name),
        values,
      ),
      'text/csv',
    );
  };
  const saveJson = () => {
    download('figure.json', `${JSON.stringify(rows)}\n`, 'application/json');
  };
  return [
    element('button', { ...shared('CSV'), type: 'button', click: saveCsv }, 'CSV'),
    element('button', { ...shared('JSON'), type: 'button', click: saveJson }, 'JSON'),
  ];
}

export function figure<Row>(model: FigureModel<Row>): HTMLElement {
  const titleId = uniqueId('figure');
  const limit = model.limit ?? Infinity;
  let rows = model.rows;
  let isTable = false;
  let drawnWidth = 0;

  const picture = element('div', {
    class: 'picture',
    role: 'img',
    'aria-label': `${model.title}. ${model.subtitle}`,
  });
  const keyPlace = element('div', { class: 'key-place' });
  const body = element('div', { class: 'figure-body' }, keyPlace, picture);
  const shortened = element('p', { class: 'figure-shortened' });

  function draw(): void {
    const width = body.clientWidth;
    if (isTable || width === 0) return;
    drawnWidth = width;
    void loadCharts().then((charts) => {
      if (isTable || drawnWidth !== width) return;
      picture.replaceChildren(model.chart(charts, rows.slice(0, limit), width));
      if (model.key && !keyPlace.hasChildNodes()) keyPlace.append(key(model.key(charts)));
    });
  }

  function show(): void {
    const isEmpty = rows.length === 0;
    const left = rows.length - limit;
    shortened.hidden = isTable || isEmpty || left <= 0;
    shortened.replaceChildren(
      `The chart shows the first ${number(limit)} of ${number(rows.length)}. `,
      element(
        'button',
        {
          type: 'button',
          class: 'link',
          click: () => {
            setTable(true);
          },
        },
        'Show all as a table',
      ),
    );
    if (isEmpty) {
      body.replaceChildren(
        element(
          'p',
          { class: 'empty' },
          model.rows.length === 0 ? (model.empty ?? 'Nothing to show.') : 'Nothing has this name.',
        ),
      );
      return;
    }
    if (isTable) {
      body.replaceChildren(
        table(
          { caption: model.title, columns: model.columns, rows },
          limit === Infinity ? undefined : limit,
        ),
      );
      return;
    }
    body.replaceChildren(keyPlace, picture);
    draw();
  }

  const toggle = element(
    'button',
    {
      type: 'button',
      class: 'button quiet',
      'aria-pressed': 'false',
      click: () => {
        setTable(!isTable);
      },
    },
    'Table',
  );

  function setTable(isOn: boolean): void {
    isTable = isOn;
    toggle.setAttribute('aria-pressed', String(isOn));
    show();
    if (isOn) toggle.focus();
  }

  let search: HTMLElement | null = null;
  if (model.search && model.rows.length > 0) {
    const { label, text } = model.search;
    const field = element('input', {
      type: 'search',
      placeholder: label,
      'aria-label': label,
      autocomplete: 'off',
      spellcheck: 'false',
    });
    const found = element('span', { class: 'visually-hidden', role: 'status' });
    field.addEventListener('input', () => {
      const part = field.value.trim().toLowerCase();
      rows = part ? model.rows.filter((row) => text(row).toLowerCase().includes(part)) : model.rows;
      found.textContent = part ? `${counted(rows.length, 'row')} found` : '';
      show();
    });
    search = element('div', { class: 'search' }, field, found);
  }

  const heading = element(
    model.level === 3 ? 'h3' : 'h2',
    { id: titleId, class: 'figure-title' },
    model.title,
  );
  const note = model.withheld ? withheldNote(model.withheld) : null;
  const made = element(
    'figure',
    { class: `figure ${model.class ?? ''}`.trim(), 'aria-labelledby': titleId },
    element('figcaption', {}, heading, element('p', { class: 'figure-subtitle' }, model.subtitle)),
    search,
    body,
    shortened,
    ...(model.notes ?? []).map((text) => element('p', { class: 'figure-note' }, text)),
    note && element('p', { class: 'figure-note withheld' }, note),
    element(
      'div',
      { class: 'figure-tools' },
      toggle,
      ...files(model),
      model.more && element('span', { class: 'figure-more' }, model.more),
    ),
  );
  new ResizeObserver(() => {
    // Heights change with what is drawn; only a new width draws it anew.
    if (Math.abs(body.clientWidth - drawnWidth) > 1) draw();
  }).observe(body);
  show();
  return made;
}
