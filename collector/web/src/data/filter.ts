// The filter of the figures, which lives in the address.

import { isDay } from './periods';

/** An empty text does not filter. `from` and `to` are days; the server widens them to periods. */
export interface Filter {
  product: string;
  version: string;
  from: string;
  to: string;
}

export const noFilter: Filter = { product: '', version: '', from: '', to: '' };

/** The filter in an address's query. Days that are none, and a reversed range, do not filter. */
export function readFilter(query: string): Filter {
  const parameters = new URLSearchParams(query);
  const text = (name: string) => parameters.get(name) ?? '';
  const day = (name: string) => (isDay(text(name)) ? text(name) : '');
  const filter = {
    product: text('product'),
    version: text('version'),
    from: day('from'),
    to: day('to'),
  };
  if (filter.from && filter.to && filter.from > filter.to) return { ...filter, from: '', to: '' };
  return filter;
}

/** The query of an address, with its question mark; empty if there is nothing in it. */
export function queryOf(parameters: Partial<Filter> & Record<string, string>): string {
  const query = new URLSearchParams();
  for (const [name, value] of Object.entries(parameters)) {
    if (value) query.set(name, value);
  }
  const text = query.toString();
  return text ? `?${text}` : '';
}
