// The page of the people who take part: what is kept under an identifier, erasing it, and the viewer.

import { send, type Kept, type Receipt } from './data/api';
import { number } from './data/format';
import { explained, hiddenNote, isNothing, keptTitle } from './data/kept';
import { element } from './dom';
import { confirm } from './parts/dialog';
import { field, form } from './parts/form';
import { receiptCard } from './parts/receipt';
import { table } from './parts/table';
import { time } from './parts/time';
import { themeSwitch } from './parts/themeSwitch';
import { viewer } from './viewer/viewer';

const result = element('div', { class: 'content', 'aria-live': 'polite' });

async function ask<Result>(address: string, installation: string): Promise<Result | null> {
  try {
    return await send<Result>('POST', address, { installation });
  } catch (error) {
    throw explained(error);
  }
}

function keptCard(kept: Kept, installation: string): HTMLElement {
  if (isNothing(kept)) {
    return element(
      'section',
      { class: 'card', tabindex: -1 },
      element('h3', {}, 'Nothing is kept under this identifier'),
      element(
        'p',
        {},
        'Either nothing was ever sent, or it was erased, or the identifier has a typing mistake. Copy it from the file to be sure.',
      ),
    );
  }
  const erase = form('Erase all of it…', async () => {
    const isSure = await confirm(
      'Erase for good?',
      'Erase',
      element(
        'p',
        {},
        'Everything that is kept under this identifier is erased. This cannot be undone.',
      ),
      element(
        'p',
        {},
        'If you still take part, the application sends reports again. To stop that, say no in its dialog.',
      ),
    );
    if (!isSure) return;
    const receipt = await ask<Receipt>('/mine/erase', installation);
    if (!receipt) return;
    const shown = element('div', { class: 'card' }, receiptCard(receipt));
    result.replaceChildren(shown);
    shown.querySelector<HTMLElement>('.receipt')?.focus();
  });
  erase.querySelector('button')?.classList.replace('primary', 'danger');
  const hidden = hiddenNote(kept);
  return element(
    'section',
    { class: 'card', tabindex: -1 },
    element('h3', {}, keptTitle(kept)),
    hidden && element('p', { class: 'hint' }, hidden),
    table(
      {
        caption: 'Reports that are kept',
        columns: [
          { name: 'Received', value: (row) => row.received, text: (row) => time(row.received) },
          { name: 'Product', value: (row) => row.product },
          { name: 'Version', value: (row) => row.version },
          { name: 'Commands', value: (row) => row.commands, text: (row) => number(row.commands) },
          {
            name: 'File types',
            value: (row) => row.file_types,
            text: (row) => number(row.file_types),
          },
          { name: 'Raw report', value: (row) => (row.has_raw_report ? 'kept' : 'removed') },
        ],
        rows: kept.deliveries,
      },
      30,
    ),
    erase,
  );
}

const identifier = field('Identifier of your installation', {
  longest: 128,
  hint: 'In PeltoReport.ini, in the data folder of the application, the text after “ID=”',
});
const lookUp = form(
  'Show what is kept',
  async () => {
    const installation = identifier.input.value.trim();
    const kept = await ask<Kept>('/mine/kept', installation);
    if (!kept) return;
    const card = keptCard(kept, installation);
    result.replaceChildren(card);
    card.focus();
  },
  identifier.element,
);

document.querySelector('#account')?.append(themeSwitch());
document.querySelector('#kept')?.append(element('div', { class: 'card' }, lookUp), result);
document.querySelector('#viewer')?.append(viewer(3));
