// The pages of the people who look at the figures: one document, whose content follows the address.

import { get, getFigure, RequestError, send, type Product, type Session } from './data/api';
import { noFilter, queryOf, readFilter, type Filter } from './data/filter';
import { compareVersions } from './data/versions';
import { element } from './dom';
import { formDialog } from './parts/dialog';
import { field, form } from './parts/form';
import { loadCharts } from './parts/figure';
import { filterBar } from './parts/filterBar';
import { failure, loading } from './parts/status';
import { themeSwitch } from './parts/themeSwitch';
import { apiDocs } from './views/apiDocs';
import { audit } from './views/audit';
import { commands } from './views/commands';
import { dataProtection } from './views/dataProtection';
import { logIn, setUp } from './views/entrance';
import { fileTypes } from './views/fileTypes';
import { intake } from './views/intake';
import { machines } from './views/machines';
import { overview } from './views/overview';
import { shortestPassword, users } from './views/users';
import { versions } from './views/versions';
import type { View } from './views/view';

const views: View[] = [
  overview,
  commands,
  fileTypes,
  versions,
  machines,
  intake,
  dataProtection,
  users,
  audit,
  apiDocs,
];

let session: Session | null = null;
let hasAccounts = true;
let products: Product[] = [];
/** By product. They are asked for once: a version that is new today is there after a reload. */
const knownVersions = new Map<string, string[]>();
/** Counts what was shown, so that content that comes late does not replace newer content. */
let shownPage = 0;
let wantedAddress = '';

function place(selector: string): HTMLElement {
  const found = document.querySelector<HTMLElement>(selector);
  if (!found) throw new Error(`The document has no ${selector}`);
  return found;
}

const main = place('#main');
const navigation = place('#navigation');
const account = place('#account');

/** Goes to an address. `isNew` is false when the browser went there already. */
function go(address: string, isNew = true): void {
  if (isNew) history.pushState(null, '', address);
  void show();
}

function setTitle(title: string): void {
  document.title = title ? `${title} · Pelto Collector` : 'Pelto Collector';
}

function isAllowed(view: View): boolean {
  return !view.roles || (session !== null && view.roles.includes(session.role));
}

function drawFrame(current: View | null): void {
  document.body.classList.toggle('is-entrance', session === null);
  if (!session) {
    navigation.replaceChildren();
    account.replaceChildren(themeSwitch());
    return;
  }
  const query = queryOf({ ...readFilter(location.search) });
  navigation.replaceChildren(
    element(
      'ul',
      {},
      ...views.filter(isAllowed).map((view) =>
        element(
          'li',
          {},
          element(
            'a',
            {
              href: `${view.path}${query}`,
              'aria-current': view === current ? 'page' : undefined,
            },
            view.title,
          ),
        ),
      ),
    ),
  );
  navigation
    .querySelector('[aria-current]')
    ?.scrollIntoView({ block: 'nearest', inline: 'center' });
  account.replaceChildren(
    themeSwitch(),
    element(
      'button',
      {
        type: 'button',
        class: 'button quiet user',
        title: 'Change your password',
        'aria-label': `${session.user}: change your password`,
        click: changePassword,
      },
      session.user,
    ),
    element(
      'button',
      {
        type: 'button',
        class: 'button quiet',
        click: () => {
          void logOut();
        },
      },
      'Log out',
    ),
  );
}

function changePassword(): void {
  formDialog('Change your password', (close) => {
    const old = field('Password now', { type: 'password', autocomplete: 'current-password' });
    const next = field('New password', {
      type: 'password',
      autocomplete: 'new-password',
      shortest: shortestPassword,
      hint: `At least ${shortestPassword} characters. Your other sessions end.`,
    });
    return form(
      'Change the password',
      async () => {
        await send('PUT', '/api/v1/session/password', {
          old: old.input.value,
          new: next.input.value,
        });
        close();
      },
      old.element,
      next.element,
    );
  });
}

async function logOut(): Promise<void> {
  try {
    await send('DELETE', '/api/v1/session');
  } catch (error) {
    // A session that has ended already is what was asked for.
    if (!(error instanceof RequestError) || error.status !== 401) {
      main.replaceChildren(
        failure(error, () => {
          void logOut();
        }),
      );
      return;
    }
  }
  leave();
  go('/login');
}

function leave(): void {
  session = null;
  products = [];
  knownVersions.clear();
}

async function enter(entered: Session): Promise<void> {
  session = entered;
  const address = wantedAddress || '/overview';
  wantedAddress = '';
  main.replaceChildren(loading());
  await loadProducts();
  go(address);
}

async function loadProducts(): Promise<void> {
  products = (await get<{ products: Product[] }>('/api/v1/products')).products;
}

async function versionsOf(filter: Filter): Promise<string[]> {
  const known = knownVersions.get(filter.product);
  if (known) return known;
  const answer = await getFigure('versions', { ...noFilter, product: filter.product });
  const found = [...new Set(answer.rows.map((row) => row.version))]
    .filter((version) => version !== '')
    .sort((a, b) => compareVersions(b, a));
  knownVersions.set(filter.product, found);
  return found;
}

function showEntrance(content: HTMLElement, title: string): void {
  drawFrame(null);
  setTitle(title);
  main.replaceChildren(content);
  (content.querySelector('input') ?? content.querySelector('h1'))?.focus();
}

function showLogIn(): void {
  const isEntrance = location.pathname === '/login' || location.pathname === '/setup';
  if (!isEntrance) {
    wantedAddress = location.pathname + location.search;
    history.replaceState(null, '', '/login');
  }
  showEntrance(
    logIn(hasAccounts, (entered) => {
      hasAccounts = true;
      void enter(entered).catch(showFailure);
    }),
    'Log in',
  );
}

function showFailure(error: unknown): void {
  if (error instanceof RequestError && error.status === 401) {
    leave();
    showLogIn();
    return;
  }
  main.replaceChildren(
    failure(error, () => {
      void show();
    }),
  );
}

let setupToken = '';

/** Shows what the address names. */
async function show(): Promise<void> {
  const page = ++shownPage;
  if (location.pathname === '/setup' && !session) {
    if (location.hash) {
      setupToken = location.hash.slice(1);
      // The token is for one use, and the browser's history is kept for long.
      history.replaceState(null, '', '/setup');
    }
    showEntrance(
      setUp(setupToken, (entered) => {
        setupToken = '';
        void enter(entered).catch(showFailure);
      }),
      'Set up',
    );
    return;
  }
  if (!session) {
    showLogIn();
    return;
  }
  const view = views.find((entry) => entry.path === location.pathname && isAllowed(entry));
  if (!view) {
    history.replaceState(null, '', `/overview${location.search}`);
    await show();
    return;
  }

  let filter = readFilter(location.search);
  const first = products[0];
  // Where there are several products, each figure is of one.
  if (!filter.product && products.length > 1 && first) filter = { ...filter, product: first.name };
  drawFrame(view);
  setTitle(view.title);

  const heading = element('h1', { tabindex: -1 }, view.title);
  const bar = element('div', { class: 'filter-place' });
  const content = element('div', { class: 'content', 'aria-busy': 'true' });
  const isSameView = main.dataset.view === view.path;
  main.dataset.view = view.path;
  const head = element(
    'div',
    { class: 'page-head' },
    heading,
    element('p', { class: 'lead' }, view.lead),
  );

  const drawBar = (versions: string[]) => {
    if (!view.filters) return;
    const focused =
      document.activeElement instanceof HTMLSelectElement ? document.activeElement.name : '';
    bar.replaceChildren(
      filterBar(filter, products, versions, { product: true, ...view.filters }, (changed) => {
        go(`${view.path}${queryOf({ ...changed })}`);
      }),
    );
    if (focused) bar.querySelector<HTMLSelectElement>(`select[name="${focused}"]`)?.focus();
  };
  const focusedFilter =
    document.activeElement instanceof HTMLSelectElement ? document.activeElement.name : '';
  main.replaceChildren(head, bar, content);
  drawBar(knownVersions.get(filter.product) ?? []);
  if (isSameView && focusedFilter)
    bar.querySelector<HTMLSelectElement>(`select[name="${focusedFilter}"]`)?.focus();
  else if (main.dataset.started) heading.focus({ preventScroll: true });
  if (!isSameView) window.scrollTo(0, 0);
  main.dataset.started = 'yes';

  // What is there at once needs no sign that it is being loaded.
  const waiting = setTimeout(() => {
    if (page === shownPage) content.replaceChildren(loading());
  }, 150);
  try {
    const versions =
      view.filters?.version && !knownVersions.has(filter.product) ? versionsOf(filter) : null;
    const context = { session, products, filter };
    const [made] = await Promise.all([
      view.content(context),
      versions?.then((found) => {
        if (page === shownPage) drawBar(found);
      }),
    ]);
    if (page !== shownPage) return;
    content.replaceChildren(...made);
  } catch (error) {
    if (page !== shownPage) return;
    if (error instanceof RequestError && error.status === 401) showFailure(error);
    else
      content.replaceChildren(
        failure(error, () => {
          void show();
        }),
      );
  } finally {
    clearTimeout(waiting);
    content.removeAttribute('aria-busy');
  }
}

function followLink(event: MouseEvent): void {
  const target = event.target instanceof Element ? event.target.closest('a') : null;
  const isPlain =
    event.button === 0 && !event.ctrlKey && !event.metaKey && !event.shiftKey && !event.altKey;
  if (
    !target ||
    !isPlain ||
    event.defaultPrevented ||
    target.hasAttribute('download') ||
    target.target
  )
    return;
  const address = new URL(target.href, location.href);
  if (address.origin !== location.origin || address.pathname.startsWith('/api/') || address.hash)
    return;
  event.preventDefault();
  go(address.pathname + address.search);
}

async function start(): Promise<void> {
  document.addEventListener('click', followLink);
  window.addEventListener('popstate', () => {
    go('', false);
  });
  void loadCharts();
  try {
    session = await get<Session>('/api/v1/session');
    await loadProducts();
  } catch (error) {
    if (!(error instanceof RequestError) || error.status !== 401) {
      main.replaceChildren(
        failure(error, () => {
          location.reload();
        }),
      );
      return;
    }
    hasAccounts = error.problem.setup !== true;
  }
  await show();
}

void start();
