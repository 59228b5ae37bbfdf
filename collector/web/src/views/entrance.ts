// The pages before there is a session: log-in, and the set-up of the first account.

import { RequestError, send, type Session } from '../data/api';
import { wait } from '../data/format';
import { element, type Child } from '../dom';
import { field, form } from '../parts/form';
import { shortestPassword } from './users';

function page(title: string, lead: string, ...children: Child[]): HTMLElement {
  return element(
    'div',
    { class: 'entrance' },
    element(
      'div',
      { class: 'card' },
      element('h1', { tabindex: -1 }, title),
      element('p', { class: 'lead' }, lead),
      ...children,
    ),
  );
}

/** `enter` goes on to the page that was asked for. */
export function logIn(hasAccounts: boolean, enter: (session: Session) => void): HTMLElement {
  if (!hasAccounts) {
    return page(
      'Set up this server',
      'No account exists yet.',
      element(
        'p',
        {},
        'The server printed a one-time link when it started, in the terminal or its log. Open that link to make the first account.',
      ),
      element(
        'p',
        { class: 'hint' },
        'Or make one on the server itself: ',
        element('code', {}, 'pelto-collector user add NAME --role admin'),
      ),
    );
  }
  const user = field('User', { autocomplete: 'username' });
  const password = field('Password', { type: 'password', autocomplete: 'current-password' });
  return page(
    'Log in',
    'Usage figures are for people with an account.',
    form(
      'Log in',
      async (message) => {
        try {
          const session = await send<Session>('POST', '/api/v1/session', {
            user: user.input.value,
            password: password.input.value,
          });
          if (session) enter(session);
        } catch (error) {
          password.input.value = '';
          password.input.focus();
          if (!(error instanceof RequestError)) throw error;
          if (error.status === 401) message.bad('User or password is wrong.');
          else if (error.status === 429)
            message.bad(
              `Too many attempts. Please wait ${error.retryAfter === null ? 'some minutes' : wait(error.retryAfter)}.`,
            );
          else throw error;
        }
      },
      user.element,
      password.element,
    ),
  );
}

/** `token` is that of the one-time link; empty if it was opened without. */
export function setUp(token: string, enter: (session: Session) => void): HTMLElement {
  if (!token) {
    return page(
      'This link is not complete',
      'Please open the whole link that the server printed, with the part after “#”.',
      element('p', {}, element('a', { href: '/login' }, 'Log in')),
    );
  }
  const user = field('Name of the first user', {
    autocomplete: 'username',
    hint: 'The role is admin: sees everything, erases, exports, manages users',
  });
  const password = field('Password', {
    type: 'password',
    autocomplete: 'new-password',
    shortest: shortestPassword,
    hint: `At least ${shortestPassword} characters`,
  });
  const again = field('Password again', { type: 'password', autocomplete: 'new-password' });
  return page(
    'Set up this server',
    'Make the first account. The link works once.',
    form(
      'Make the account',
      async (message) => {
        if (password.input.value !== again.input.value) {
          message.bad('The two passwords differ.');
          again.input.focus();
          return;
        }
        try {
          const session = await send<Partial<Session>>('POST', '/api/v1/setup', {
            token,
            user: user.input.value,
            password: password.input.value,
          });
          enter({ user: session?.user ?? user.input.value, role: session?.role ?? 'admin' });
        } catch (error) {
          if (error instanceof RequestError && error.status === 403)
            message.bad(
              'This link was used already, or is not the one that the server printed last.',
            );
          else throw error;
        }
      },
      user.element,
      password.element,
      again.element,
    ),
  );
}
