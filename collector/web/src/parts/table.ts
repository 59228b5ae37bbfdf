// Tables: sorted by their headings, and as long as a list may be without stopping the page.

import { number as formatNumber } from '../data/format';
import { element, uniqueId } from '../dom';

export interface Column<Row> {
  name: string;
  /** What is compared when rows are sorted; null sorts last. */
  value: (row: Row) => string | number | null;
  /** What is shown; without it the value. */
  text?: (row: Row) => string | Node;
}

export interface TableModel<Row> {
  caption: string;
  columns: Column<Row>[];
  /** The first column names the row. */
  rows: Row[];
}

/** Rows are added in steps of this many: as many as a page can lay out at once without a stop. */
const rowsAtOnce = 200;

interface Sorting {
  column: number;
  isDescending: boolean;
}

function compare(a: string | number | null, b: string | number | null): number {
  if (a === null || b === null) return a === b ? 0 : a === null ? 1 : -1;
  if (typeof a === 'number' && typeof b === 'number') return a - b;
  return String(a).localeCompare(String(b), 'en', { numeric: true });
}

function sorted<Row>(model: TableModel<Row>, sorting: Sorting | null): Row[] {
  const column = sorting ? model.columns[sorting.column] : undefined;
  if (!sorting || !column) return model.rows;
  const sign = sorting.isDescending ? -1 : 1;
  return [...model.rows].sort((a, b) => {
    const [left, right] = [column.value(a), column.value(b)];
    if (left === null || right === null) return compare(left, right);
    return sign * compare(left, right);
  });
}

function isNumeric<Row>(column: Column<Row>, rows: Row[]): boolean {
  return rows.length > 0 && rows.every((row) => typeof (column.value(row) ?? 0) === 'number');
}

function cellText<Row>(column: Column<Row>, row: Row): string | Node {
  if (column.text) return column.text(row);
  const value = column.value(row);
  return typeof value === 'string' ? value : formatNumber(value);
}

/**
 * A table with a caption. Its headings sort it. `limit` rows are shown at first; a button shows the
 * others, which come in steps as the reader gets to the end.
 */
export function table<Row>(model: TableModel<Row>, limit = rowsAtOnce): HTMLElement {
  let sorting: Sorting | null = null;
  let shown = limit;
  let observer: IntersectionObserver | null = null;
  const numeric = model.columns.map((column) => isNumeric(column, model.rows));
  const body = element('tbody');
  const count = element('p', { class: 'table-count', role: 'status' });
  const more = element('button', { type: 'button', class: 'button quiet', click: showMore }, '');
  const foot = element('div', { class: 'table-foot' }, count, more);
  let rows = model.rows;

  const headings = model.columns.map((column, place) => {
    const button = element(
      'button',
      {
        type: 'button',
        class: 'sort',
        click: () => {
          sortBy(place);
        },
      },
      column.name,
    );
    return element('th', { scope: 'col', class: numeric[place] ? 'number' : undefined }, button);
  });

  function rowOf(row: Row): HTMLTableRowElement {
    return element(
      'tr',
      {},
      ...model.columns.map((column, place) =>
        element(
          place === 0 ? 'th' : 'td',
          { scope: place === 0 ? 'row' : undefined, class: numeric[place] ? 'number' : undefined },
          cellText(column, row),
        ),
      ),
    );
  }

  function addUpTo(end: number): void {
    const added = document.createDocumentFragment();
    for (const row of rows.slice(body.childElementCount, end)) added.append(rowOf(row));
    body.append(added);
    const left = rows.length - body.childElementCount;
    foot.hidden = rows.length <= limit;
    count.textContent = `${formatNumber(body.childElementCount)} of ${formatNumber(rows.length)} rows`;
    more.hidden = left <= 0;
    more.textContent = shown > limit ? 'Show more' : `Show all ${formatNumber(rows.length)}`;
    if (left <= 0) observer?.disconnect();
  }

  function showMore(): void {
    shown = Math.min(rows.length, body.childElementCount + rowsAtOnce);
    addUpTo(shown);
    if (!observer) {
      observer = new IntersectionObserver(
        (entries) => {
          if (entries.some((entry) => entry.isIntersecting) && foot.isConnected) showMore();
        },
        { rootMargin: '600px' },
      );
      observer.observe(foot);
    }
  }

  function sortBy(column: number): void {
    // Numbers are looked at from the largest, texts from A.
    const isFirstDescending = numeric[column] === true;
    sorting =
      sorting?.column === column
        ? { column, isDescending: !sorting.isDescending }
        : { column, isDescending: isFirstDescending };
    headings.forEach((heading, place) => {
      if (place === column)
        heading.setAttribute('aria-sort', sorting?.isDescending ? 'descending' : 'ascending');
      else heading.removeAttribute('aria-sort');
    });
    rows = sorted(model, sorting);
    body.replaceChildren();
    addUpTo(shown);
  }

  addUpTo(limit);
  const captionId = uniqueId('caption');
  return element(
    'div',
    { class: 'table-block' },
    element(
      'div',
      { class: 'table-scroll', tabindex: 0, role: 'region', 'aria-labelledby': captionId },
      element(
        'table',
        {},
        element('caption', { id: captionId, class: 'visually-hidden' }, model.caption),
        element('thead', {}, element('tr', {}, ...headings)),
        body,
      ),
    ),
    foot,
  );
}
