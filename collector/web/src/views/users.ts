import { get, send, type Account, type Role, type Session } from '../data/api';
import { element } from '../dom';
import { confirm, formDialog } from '../parts/dialog';
import { field, form, selectField } from '../parts/form';
import { FormMessage, messageOf } from '../parts/status';
import type { View } from './view';

export const shortestPassword = 10;

const roles: { value: Role; text: string }[] = [
  { value: 'viewer', text: 'viewer' },
  { value: 'contacts', text: 'contacts' },
  { value: 'admin', text: 'admin' },
];

function addressOf(account: Account): string {
  return `/api/v1/users/${encodeURIComponent(account.name)}`;
}

function passwordDialog(account: Account, message: FormMessage): void {
  formDialog(`New password for ${account.name}`, (close) => {
    const password = field('New password', {
      type: 'password',
      autocomplete: 'new-password',
      shortest: shortestPassword,
      hint: `At least ${shortestPassword} characters`,
    });
    return form(
      'Set the password',
      async () => {
        await send('PUT', addressOf(account), { password: password.input.value });
        message.good(`${account.name} has a new password.`);
        close();
      },
      password.element,
    );
  });
}

function accountRow(
  account: Account,
  session: Session,
  message: FormMessage,
  reload: () => Promise<void>,
): HTMLTableRowElement {
  const attempt = async (done: string, change: () => Promise<unknown>) => {
    try {
      await change();
      await reload();
      message.good(done);
    } catch (error) {
      await reload();
      message.bad(messageOf(error));
    }
  };
  const role = element(
    'select',
    {
      'aria-label': `Role of ${account.name}`,
      change: () => {
        void attempt(`${account.name} is ${role.value} now.`, () =>
          send('PUT', addressOf(account), { role: role.value }),
        );
      },
    },
    ...roles.map(({ value, text }) =>
      element('option', { value, selected: value === account.role }, text),
    ),
  );
  const remove = async () => {
    const isSure = await confirm(
      `Remove ${account.name}?`,
      'Remove',
      element('p', {}, 'The account and its sessions end at once. The audit keeps its entries.'),
    );
    if (isSure)
      await attempt(`${account.name} is removed.`, () => send('DELETE', addressOf(account)));
  };
  const isSelf = account.name === session.user;
  return element(
    'tr',
    {},
    element(
      'th',
      { scope: 'row' },
      account.name,
      isSelf && element('span', { class: 'tag' }, 'you'),
    ),
    element('td', {}, role),
    element(
      'td',
      { class: 'actions' },
      element(
        'button',
        {
          type: 'button',
          class: 'button quiet',
          'aria-label': `Set the password of ${account.name}`,
          click: () => {
            passwordDialog(account, message);
          },
        },
        'Password',
      ),
      element(
        'button',
        {
          type: 'button',
          class: 'button quiet',
          'aria-label': `Remove ${account.name}`,
          click: () => {
            void remove();
          },
        },
        'Remove',
      ),
    ),
  );
}

export const users: View = {
  path: '/users',
  title: 'Users',
  lead: 'Who may see what.',
  roles: ['admin'],
  content: async ({ session }) => {
    const body = element('tbody');
    const message = new FormMessage();
    const reload = async () => {
      const { users: accounts } = await get<{ users: Account[] }>('/api/v1/users');
      body.replaceChildren(
        ...accounts.map((account) => accountRow(account, session, message, reload)),
      );
    };
    await reload();

    const name = field('Name', { longest: 64 });
    const password = field('Password', {
      type: 'password',
      autocomplete: 'new-password',
      shortest: shortestPassword,
      hint: `At least ${shortestPassword} characters`,
    });
    const role = selectField('Role', roles, 'viewer');
    const add = form(
      'Add the user',
      async (added) => {
        await send('POST', '/api/v1/users', {
          name: name.input.value,
          password: password.input.value,
          role: role.select.value,
        });
        await reload();
        added.good(`${name.input.value} can log in now.`);
        name.input.value = '';
        password.input.value = '';
      },
      name.element,
      password.element,
      role.element,
    );

    return [
      element(
        'div',
        { class: 'cards' },
        element(
          'section',
          { class: 'card' },
          element('h2', {}, 'Accounts'),
          element(
            'div',
            { class: 'table-scroll' },
            element(
              'table',
              { class: 'accounts' },
              element('caption', { class: 'visually-hidden' }, 'Accounts'),
              element(
                'thead',
                {},
                element(
                  'tr',
                  {},
                  element('th', { scope: 'col' }, 'Name'),
                  element('th', { scope: 'col' }, 'Role'),
                  element(
                    'th',
                    { scope: 'col' },
                    element('span', { class: 'visually-hidden' }, 'Actions'),
                  ),
                ),
              ),
              body,
            ),
          ),
          message.element,
          element(
            'dl',
            { class: 'roles' },
            element('dt', {}, 'viewer'),
            element('dd', {}, 'sees figures'),
            element('dt', {}, 'contacts'),
            element('dd', {}, 'also sees e-mail addresses'),
            element('dt', {}, 'admin'),
            element('dd', {}, 'also erases, exports and manages users'),
          ),
        ),
        element('section', { class: 'card' }, element('h2', {}, 'Add a user'), add),
      ),
    ];
  },
};
