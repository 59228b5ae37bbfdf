import { get, send, type Contact, type Keeping, type Receipt } from '../data/api';
import { queryOf } from '../data/filter';
import { counted, day, noValue } from '../data/format';
import { keepingNote } from '../data/keeping';
import { element } from '../dom';
import { confirm } from '../parts/dialog';
import { field, form, selectField } from '../parts/form';
import { receiptCard } from '../parts/receipt';
import { messageOf } from '../parts/status';
import { table } from '../parts/table';
import { time } from '../parts/time';
import type { Context, View } from './view';

function card(title: string, lead: string, ...children: Node[]): HTMLElement {
  return element(
    'section',
    { class: 'card' },
    element('h2', {}, title),
    element('p', { class: 'lead' }, lead),
    ...children,
  );
}

function entry(term: string, value: string, detail: string): HTMLElement {
  return element(
    'div',
    { class: 'tile' },
    element('dt', {}, term),
    element(
      'dd',
      {},
      element('span', { class: 'tile-value' }, value),
      element('span', { class: 'tile-detail' }, detail),
    ),
  );
}

function rules(keeping: Keeping): HTMLElement {
  const { retention_days: retention, forget_silent_days: silent } = keeping;
  return element(
    'dl',
    { class: 'tiles thirds' },
    entry(
      'Threshold',
      counted(keeping.threshold, 'installation'),
      'No number is shown that rests on fewer',
    ),
    entry(
      'Raw reports',
      retention === null ? 'Kept' : counted(retention, 'day'),
      retention === null
        ? 'No day is set on which they are removed'
        : 'Then removed; the counts stay',
    ),
    entry(
      'Silent installations',
      silent === null ? 'Kept' : counted(silent, 'day'),
      silent === null
        ? 'Until somebody asks to erase them'
        : 'Erased when they have sent nothing for this long',
    ),
    entry(
      'E-mail addresses',
      keeping.keeps_email ? 'Kept apart' : 'Not kept',
      keeping.keeps_email
        ? 'Readable for the role contacts only'
        : 'Taken out before a report is kept',
    ),
    entry(
      'Adapter addresses',
      keeping.keeps_adapter ? 'As a hash' : 'Not kept',
      keeping.keeps_adapter
        ? 'Which only this server can compute'
        : 'Taken out before a report is kept',
    ),
    entry('IP addresses', 'Never kept', 'In memory for minutes, to limit rates'),
  );
}

function keptTable(keeping: Keeping): HTMLElement {
  return table({
    caption: 'What is kept, by product',
    columns: [
      { name: 'Product', value: (row) => row.name },
      {
        name: 'Since',
        value: (row) => row.since,
        text: (row) => (row.since ? day(row.since) : noValue),
      },
      { name: 'Deliveries', value: (row) => row.deliveries },
      { name: 'Installations', value: (row) => row.installations },
      { name: 'Raw reports', value: (row) => row.raw_reports },
    ],
    rows: keeping.products,
  });
}

function contactsCard({ products, filter }: Context): HTMLElement {
  const product = selectField(
    'Product',
    products.map(({ name }) => ({ value: name, text: name })),
    filter.product,
  );
  const result = element('div', {});
  const show = form(
    'Show the addresses',
    async () => {
      const query = { product: product.select.value };
      const { contacts } = await get<{ contacts: Contact[] }>(`/api/v1/contacts${queryOf(query)}`);
      const file = element(
        'a',
        {
          class: 'button quiet',
          href: `/api/v1/contacts${queryOf({ ...query, format: 'csv' })}`,
          download: true,
        },
        'CSV',
      );
      result.replaceChildren(
        contacts.length === 0
          ? element('p', { class: 'empty' }, 'Nobody has left an address.')
          : table(
              {
                caption: 'E-mail addresses of those who take part',
                columns: [
                  { name: 'Address', value: (row) => row.address },
                  {
                    name: 'Received',
                    value: (row) => row.received,
                    text: (row) => time(row.received),
                  },
                ],
                rows: contacts,
              },
              30,
            ),
        ...(contacts.length === 0 ? [] : [file]),
      );
    },
    products.length > 1 ? product.element : null,
  );
  return card(
    'Contacts',
    'Addresses that people entered so that the maker may write to them. They are loaded when you ask for them.',
    show,
    result,
  );
}

function eraseCard(): HTMLElement {
  const kind = selectField(
    'Erase by',
    [
      { value: 'installation', text: 'Identifier of the installation' },
      { value: 'email', text: 'E-mail address' },
    ],
    'installation',
  );
  const subject = field('Identifier', { hint: 'The line ID= in PeltoReport.ini', longest: 320 });
  const result = element('div', {});
  kind.select.addEventListener('change', () => {
    const isAddress = kind.select.value === 'email';
    const label = subject.element.querySelector('label');
    const hint = subject.element.querySelector('.hint');
    if (label) label.textContent = isAddress ? 'E-mail address' : 'Identifier';
    if (hint)
      hint.textContent = isAddress
        ? 'Every installation with this address; letter case does not matter'
        : 'The line ID= in PeltoReport.ini';
  });
  const erase = form(
    'Erase…',
    async () => {
      const value = subject.input.value.trim();
      const isSure = await confirm(
        'Erase for good?',
        'Erase',
        element(
          'p',
          {},
          kind.select.value === 'email'
            ? 'Everything of every installation with this address:'
            : 'Everything of this installation:',
        ),
        element('p', { class: 'code' }, value),
        element(
          'p',
          {},
          'Its reports, counts and addresses go, from the figures too. This cannot be undone. Backups keep what they hold.',
        ),
      );
      if (!isSure) return;
      const receipt = await send<Receipt>('POST', '/api/v1/erasures', {
        [kind.select.value]: value,
      });
      if (!receipt) return;
      const shown = receiptCard(receipt);
      result.replaceChildren(shown);
      shown.focus();
      subject.input.value = '';
    },
    kind.element,
    subject.element,
  );
  erase.querySelector('button[type=submit]')?.classList.replace('primary', 'danger');
  return card(
    'Erase',
    'On request of the person whose data it is. You get a signed receipt.',
    erase,
    result,
  );
}

function exportCard(): HTMLElement {
  const installation = field('Identifier of the installation', {
    isOptional: true,
    hint: 'Empty: everything that is kept',
  });
  installation.input.name = 'installation';
  // A download by the browser itself: an export may be larger than a page can hold.
  const made = element(
    'form',
    { class: 'form', method: 'get', action: '/api/v1/export' },
    installation.element,
    element(
      'div',
      { class: 'form-actions' },
      element('button', { type: 'submit', class: 'button primary' }, 'Download'),
    ),
  );
  return card('Export', 'One delivery a line (NDJSON), as the command import takes it.', made);
}

export const dataProtection: View = {
  path: '/data-protection',
  title: 'Data protection',
  lead: 'What is kept of those who take part, and for how long.',
  content: async (context) => {
    const { role } = context.session;
    let kept: HTMLElement;
    try {
      const keeping = await get<Keeping>('/api/v1/keeping');
      const withheld = keepingNote(keeping);
      kept = element(
        'div',
        {},
        rules(keeping),
        element(
          'section',
          { class: 'card' },
          element('h2', {}, 'Kept now'),
          keptTable(keeping),
          withheld && element('p', { class: 'figure-note withheld' }, withheld),
        ),
      );
    } catch (error) {
      // To erase must be possible also when this is not.
      kept = element('div', { class: 'card notice bad', role: 'alert' }, messageOf(error));
    }
    return [
      kept,
      element(
        'div',
        { class: 'cards' },
        ...(role === 'admin' ? [eraseCard(), exportCard()] : []),
        ...(role === 'viewer' ? [] : [contactsCard(context)]),
      ),
    ];
  },
};
