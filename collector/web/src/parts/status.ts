// What a page shows when it has nothing to show yet, nothing at all, or a reason why not.

import { RequestError } from '../data/api';
import { number } from '../data/format';
import { element, type Child } from '../dom';

export function loading(): HTMLElement {
  return element(
    'div',
    { class: 'loading', role: 'status' },
    element('span', { class: 'visually-hidden' }, 'Loading'),
    element('div', { class: 'skeleton', 'aria-hidden': 'true' }),
    element('div', { class: 'skeleton', 'aria-hidden': 'true' }),
  );
}

export function messageOf(error: unknown): string {
  return error instanceof RequestError
    ? error.message
    : 'The page cannot show this. Please reload it.';
}

export function failure(error: unknown, retry: () => void): HTMLElement {
  return element(
    'div',
    { class: 'card notice bad', role: 'alert' },
    element('h2', {}, 'This cannot be shown'),
    element('p', {}, messageOf(error)),
    element(
      'p',
      {},
      element('button', { type: 'button', class: 'button', click: retry }, 'Try again'),
    ),
  );
}

export function empty(title: string, ...children: Child[]): HTMLElement {
  return element('div', { class: 'card notice' }, element('h2', {}, title), ...children);
}

/** In place of figures without rows. */
export function nothingYet(answer: {
  withheld: { rows: number };
  threshold: number;
  version: string | null;
}): HTMLElement {
  if (answer.withheld.rows > 0) {
    return empty(
      'Too few installations to show',
      element(
        'p',
        {},
        `Reports are there, but each number would rest on fewer than ${number(answer.threshold)} installations. It is shown as soon as more of them report.`,
      ),
    );
  }
  return empty(
    answer.version === null
      ? 'No reports in this range'
      : `No reports of version ${answer.version} in this range`,
    element(
      'p',
      {},
      'As soon as a report arrives, it is counted here. Senders report every 28 days at the earliest.',
    ),
    element(
      'p',
      {},
      'If you expect reports: the page Intake says what was refused, and the address that senders need is printed when the server starts.',
    ),
  );
}

/** Words below a form. Screen readers say them when they change. */
export class FormMessage {
  readonly element = element('p', { class: 'form-message', role: 'status' });

  clear(): void {
    this.set('', '');
  }
  good(text: string): void {
    this.set(text, 'good');
  }
  bad(text: string): void {
    this.set(text, 'bad');
  }

  private set(text: string, kind: string): void {
    this.element.textContent = text;
    this.element.className = `form-message ${kind}`.trim();
  }
}
