// The filter of the figures: selects whose values are in the address.

import type { Product } from '../data/api';
import { noFilter, type Filter } from '../data/filter';
import { day, shortDay } from '../data/format';
import { isRunning, lastDayOf, periodOf, periodsBetween, today } from '../data/periods';
import { element } from '../dom';
import { selectField, type Choice, type SelectField } from './form';

export interface FilterParts {
  product: boolean;
  version: boolean;
  periods: boolean;
}

function withCurrent(choices: Choice[], value: string): Choice[] {
  if (!value || choices.some((choice) => choice.value === value)) return choices;
  return [...choices, { value, text: value }];
}

/** What is filtered, for print, where selects are not. */
export function describeFilter(filter: Filter, products: Product[]): string {
  const parts = [
    products.length > 1 ? `Product ${filter.product || (products[0]?.name ?? '')}` : '',
    filter.version ? `Version ${filter.version}` : 'All versions',
    filter.from ? `from ${day(filter.from)}` : 'from the first period',
    filter.to ? `to ${day(filter.to)}` : 'to the last',
  ];
  return parts.filter((part) => part !== '').join(', ');
}

/**
 * The bar for one filter. `versions` are those of the product, the newest first; `change` gets the
 * filter that was chosen.
 */
export function filterBar(
  filter: Filter,
  products: Product[],
  versions: string[],
  parts: FilterParts,
  change: (filter: Filter) => void,
): HTMLElement {
  const product = products.find((entry) => entry.name === filter.product) ?? products[0];
  const periods = product?.from && product.to ? periodsBetween(product.from, product.to) : [];
  const lastPeriod = periods.at(-1);
  const fields: HTMLElement[] = [];

  const add = (
    field: SelectField,
    name: keyof Filter,
    changes: (value: string) => Partial<Filter>,
  ) => {
    field.select.name = name;
    field.select.addEventListener('change', () => {
      change({ ...filter, ...changes(field.select.value) });
    });
    fields.push(field.element);
  };

  if (parts.product && products.length > 1) {
    // Another product has other versions and periods.
    add(
      selectField(
        'Product',
        products.map(({ name }) => ({ value: name, text: name })),
        filter.product || (product?.name ?? ''),
      ),
      'product',
      (value) => ({ ...noFilter, product: value }),
    );
  }
  if (parts.version) {
    const choices = [
      { value: '', text: 'All versions' },
      ...withCurrent(
        versions.map((version) => ({ value: version, text: version })),
        filter.version,
      ),
    ];
    add(selectField('Version', choices, filter.version), 'version', (value) => ({
      version: value,
    }));
  }
  if (parts.periods) {
    const from = periodOf(filter.from) ?? '';
    const last = periodOf(filter.to);
    const to = last ? lastDayOf(last) : '';
    const now = today();
    const starts = [...periods].reverse().map((period) => ({ value: period, text: day(period) }));
    const ends = [...periods].reverse().map((period) => ({
      value: lastDayOf(period),
      text: isRunning(period, now)
        ? `${shortDay(lastDayOf(period))} (running)`
        : day(lastDayOf(period)),
    }));
    add(
      selectField(
        'From',
        [
          { value: '', text: periods[0] ? `${day(periods[0])} (first)` : 'First period' },
          ...withCurrent(starts, from),
        ],
        from,
      ),
      'from',
      (value) => ({
        from: value,
        to: value && to && to < value ? '' : to,
      }),
    );
    add(
      selectField(
        'To',
        [
          { value: '', text: lastPeriod ? `${day(lastDayOf(lastPeriod))} (last)` : 'Last period' },
          ...withCurrent(ends, to),
        ],
        to,
      ),
      'to',
      (value) => ({
        to: value,
        from: value && from && value < from ? '' : from,
      }),
    );
  }
  const isFiltered = filter.version !== '' || filter.from !== '' || filter.to !== '';
  return element(
    'div',
    { class: 'filter' },
    element(
      'div',
      { class: 'filter-fields', role: 'group', 'aria-label': 'Filter' },
      ...fields,
      element(
        'button',
        {
          type: 'button',
          class: 'button quiet',
          hidden: !isFiltered,
          click: () => {
            change({ ...noFilter, product: filter.product });
          },
        },
        'Reset',
      ),
    ),
    element('p', { class: 'filter-print' }, describeFilter(filter, products)),
  );
}
