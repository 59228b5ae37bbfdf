// Moments.

import { moment } from '../data/format';
import { element } from '../dom';

/** A moment in universal time, on one line. */
export function time(text: string): HTMLElement {
  return element('time', { class: 'nowrap', datetime: text }, moment(text));
}
