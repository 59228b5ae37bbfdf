// What is kept, where it may be said.

import type { Keeping } from './api';
import { number } from './format';

/** Why numbers of products are missing; null if none is. */
export function keepingNote({ products, threshold }: Keeping): string | null {
  const withheld = products.filter((product) => product.installations === null).length;
  if (withheld === 0) return null;
  const rows =
    withheld === 1
      ? 'The numbers of 1 product are'
      : `The numbers of ${number(withheld)} products are`;
  return `${rows} withheld: fewer than ${number(threshold)} installations have reported.`;
}
