import { get, type AuditEntry } from '../data/api';
import { element } from '../dom';
import { messageOf } from '../parts/status';
import { time } from '../parts/time';
import type { View } from './view';

const entriesAtOnce = 50;

const actions: Record<string, string> = {
  'log-in': 'Logged in',
  'log-in-failed': 'Log-in failed',
  'log-out': 'Logged out',
  erase: 'Erased',
  export: 'Exported',
  'user-add': 'Added a user',
  'user-change': 'Changed a user',
  'user-remove': 'Removed a user',
  setup: 'Set up the first account',
};

function rowOf(entry: AuditEntry): HTMLTableRowElement {
  return element(
    'tr',
    {},
    element('td', {}, time(entry.at)),
    element('td', {}, entry.user ?? ''),
    element('td', {}, actions[entry.action] ?? entry.action),
    element('td', {}, entry.detail ?? ''),
  );
}

function page(before: number | null): Promise<{ entries: AuditEntry[] }> {
  return get(`/api/v1/audit?limit=${entriesAtOnce}${before === null ? '' : `&before=${before}`}`);
}

export const audit: View = {
  path: '/audit',
  title: 'Audit',
  lead: 'Log-ins, erasures, exports and changes of accounts, the latest first. Neither addresses nor identifiers are in it.',
  roles: ['admin'],
  content: async () => {
    const body = element('tbody');
    const older = element(
      'button',
      {
        type: 'button',
        class: 'button',
        click: () => {
          void more();
        },
      },
      'Older entries',
    );
    const status = element('p', { class: 'form-message', role: 'status' });
    let last: number | null = null;

    const add = (entries: AuditEntry[]) => {
      body.append(...entries.map(rowOf));
      last = entries.at(-1)?.number ?? last;
      older.hidden = entries.length < entriesAtOnce;
    };
    const more = async () => {
      try {
        add((await page(last)).entries);
        status.textContent = '';
      } catch (error) {
        status.textContent = messageOf(error);
      }
    };

    const { entries } = await page(null);
    add(entries);
    if (entries.length === 0)
      return [
        element('div', { class: 'card notice' }, element('p', {}, 'Nothing has happened yet.')),
      ];
    return [
      element(
        'section',
        { class: 'card' },
        element(
          'div',
          { class: 'table-scroll', tabindex: 0, role: 'region', 'aria-label': 'Audit entries' },
          element(
            'table',
            {},
            element('caption', { class: 'visually-hidden' }, 'Audit entries, the latest first'),
            element(
              'thead',
              {},
              element(
                'tr',
                {},
                ...['Time', 'User', 'Action', 'Detail'].map((name) =>
                  element('th', { scope: 'col' }, name),
                ),
              ),
            ),
            body,
          ),
        ),
        element('div', { class: 'form-actions' }, older),
        status,
      ),
    ];
  },
};
