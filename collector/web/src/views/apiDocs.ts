import { figureAddress, type FigureName } from '../data/figures';
import { element, type Child } from '../dom';
import type { Context, View } from './view';

interface Entry {
  request: string;
  role: string;
  text: string;
}

const figures: { name: FigureName; row: string; text: string }[] = [
  {
    name: 'overview',
    row: 'period, installations, new, reports',
    text: 'Installations that reported, by period',
  },
  {
    name: 'commands',
    row: 'command, uses, installations, share, median_order',
    text: 'Commands, the most used first',
  },
  {
    name: 'file-types',
    row: 'file_type, opened, saved, installations',
    text: 'File types, the most used first',
  },
  {
    name: 'versions',
    row: 'period, application, version, installations',
    text: 'Versions by period',
  },
  {
    name: 'machines',
    row: 'category, name, value, installations',
    text: 'Machines, sizes in classes',
  },
  {
    name: 'intake',
    row: 'accepted, replaced, repeated, refused',
    text: 'Deliveries by what became of them; no threshold',
  },
];

const entries: Entry[] = [
  {
    request: 'POST /api/v1/session',
    role: '',
    text: 'Logs in with {"user","password"}; returns {"user","role"} and sets the cookie. 401 if they are wrong, 429 with Retry-After after too many attempts',
  },
  { request: 'GET /api/v1/session', role: '', text: 'Who is logged in; 401 if nobody is' },
  { request: 'DELETE /api/v1/session', role: 'any', text: 'Logs out' },
  {
    request: 'PUT /api/v1/session/password',
    role: 'any',
    text: 'Changes the password with {"old","new"}; the account’s other sessions end',
  },
  {
    request: 'GET /api/v1/products',
    role: 'viewer',
    text: 'The products with the days of their first and last period',
  },
  { request: 'GET /api/v1/figures/NAME', role: 'viewer', text: 'A figure, see above' },
  {
    request: 'GET /api/v1/keeping',
    role: 'viewer',
    text: 'What is kept, since when and for how long; null where it rests on too few installations',
  },
  {
    request: 'GET /api/v1/health',
    role: 'viewer',
    text: 'Whether reports can be kept at present, the version, open connections, bytes of requests in memory',
  },
  {
    request: 'GET /api/v1/contacts?product=',
    role: 'contacts',
    text: 'E-mail addresses; format=csv for CSV',
  },
  {
    request: 'POST /api/v1/erasures',
    role: 'admin',
    text: 'Erases by {"installation"} or {"email"}; returns the signed receipt',
  },
  {
    request: 'GET /api/v1/export?installation=',
    role: 'admin',
    text: 'Deliveries as NDJSON, one or all installations',
  },
  { request: 'GET /api/v1/users', role: 'admin', text: 'The accounts' },
  {
    request: 'POST /api/v1/users',
    role: 'admin',
    text: 'Adds an account with {"name","password","role"}; 409 if it exists',
  },
  { request: 'PUT /api/v1/users/NAME', role: 'admin', text: 'Sets {"password"} or {"role"}' },
  {
    request: 'DELETE /api/v1/users/NAME',
    role: 'admin',
    text: 'Removes an account; 409 for the last admin',
  },
  {
    request: 'GET /api/v1/audit?before=&limit=',
    role: 'admin',
    text: 'Log-ins, erasures, exports and changes of accounts, the latest first',
  },
];

function listing(caption: string, heads: string[], rows: Child[][]): HTMLElement {
  return element(
    'div',
    { class: 'table-scroll', tabindex: 0, role: 'region', 'aria-label': caption },
    element(
      'table',
      { class: 'listing' },
      element('caption', { class: 'visually-hidden' }, caption),
      element(
        'thead',
        {},
        element('tr', {}, ...heads.map((head) => element('th', { scope: 'col' }, head))),
      ),
      element(
        'tbody',
        {},
        ...rows.map((cells) =>
          element(
            'tr',
            {},
            ...cells.map((cell, place) => element('td', { 'data-head': heads[place] }, cell)),
          ),
        ),
      ),
    ),
  );
}

function section(title: string, ...children: Child[]): HTMLElement {
  return element('section', { class: 'card prose' }, element('h2', {}, title), ...children);
}

function code(text: string): HTMLElement {
  return element('code', {}, text);
}

function example(context: Context): string {
  const { origin } = window.location;
  return [
    `curl --cookie-jar jar --header 'Origin: ${origin}' --header 'Content-Type: application/json' \\`,
    `  --data '{"user":"${context.session.user}","password":"…"}' ${origin}/api/v1/session`,
    `curl --cookie jar '${origin}${figureAddress('commands', context.filter)('csv')}'`,
  ].join('\n');
}

export const apiDocs: View = {
  path: '/api',
  title: 'API',
  lead: 'Everything on these pages comes from this interface. The command figures gives the same numbers.',
  content: (context) =>
    Promise.resolve([
      section(
        'Figures',
        element(
          'p',
          {},
          code('GET /api/v1/figures/NAME?product=&version=&from=&to=&format=json|csv'),
        ),
        element(
          'p',
          {},
          'Days have the form 2026-01-05; from and to are widened to whole periods of 28 days, which are counted from 2024-01-01. An empty value is as if it were absent. Without product, the only one; where there are several, it must be named.',
        ),
        listing(
          'Figures',
          ['Name', 'Fields of a row', 'What it is'],
          figures.map(({ name, row, text }) => [
            element(
              'a',
              {
                href: figureAddress(name, context.filter)('json'),
                target: '_blank',
                rel: 'noopener',
              },
              name,
            ),
            code(row),
            text,
          ]),
        ),
        element(
          'p',
          {},
          'JSON: ',
          code(
            '{"product","version","from","to","threshold","installations","rows":[…],"withheld":{"rows"}}',
          ),
          '. A number that rests on fewer installations than the threshold is null; a row that does is left out and counted in withheld.',
        ),
        element(
          'p',
          {},
          'CSV: RFC 4180 in UTF-8 with a header. A text that a spreadsheet could take for a formula gets an apostrophe in front.',
        ),
      ),
      section(
        'Sessions',
        element(
          'p',
          {},
          'Everything under /api/ but log-in needs the cookie of a session. A request that changes something needs the header ',
          code('Origin'),
          ' with the address of the server, as browsers send it.',
        ),
        element('pre', { tabindex: 0 }, example(context)),
        element(
          'p',
          {},
          'Errors are problem details (RFC 9457) with ',
          code('title'),
          ', ',
          code('status'),
          ' and ',
          code('detail'),
          '.',
        ),
      ),
      section(
        'Requests',
        listing(
          'Requests',
          ['Request', 'Role', 'What it does'],
          entries.map(({ request, role, text }) => [code(request), role || 'none', text]),
        ),
        element('p', {}, 'A role may do what the roles before it may: viewer, contacts, admin.'),
      ),
    ]),
};
