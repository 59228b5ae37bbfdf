// The receipt of an erasure.

import type { Receipt } from '../data/api';
import { counted, moment } from '../data/format';
import { download, element } from '../dom';

function isNothing(receipt: Receipt): boolean {
  const { installations, deliveries, contacts } = receipt.erased;
  return installations + deliveries + contacts === 0;
}

/** What was erased, with a button that saves the receipt as the server signed it. */
export function receiptCard(receipt: Receipt): HTMLElement {
  const { installations, deliveries, contacts } = receipt.erased;
  const save = () => {
    download(
      `erasure-${receipt.at.slice(0, 10)}.json`,
      `${JSON.stringify(receipt)}\n`,
      'application/json',
    );
  };
  return element(
    'section',
    { class: 'receipt', tabindex: -1, 'aria-label': 'Receipt' },
    element('h3', {}, isNothing(receipt) ? 'Nothing was kept' : 'Erased'),
    element(
      'p',
      {},
      isNothing(receipt)
        ? 'Nothing was kept under what you entered, so nothing was erased. The receipt says so.'
        : `${counted(installations, 'installation')}, ${counted(deliveries, 'delivery', 'deliveries')} and ${counted(contacts, 'e-mail address', 'e-mail addresses')} are no longer kept.`,
    ),
    element(
      'dl',
      {},
      element('dt', {}, 'Time'),
      element('dd', {}, moment(receipt.at)),
      element('dt', {}, 'Subject'),
      element('dd', { class: 'code' }, receipt.subject),
      element('dt', {}, 'Signature'),
      element('dd', { class: 'code' }, receipt.signature),
    ),
    element(
      'p',
      { class: 'hint' },
      'The subject is a keyed hash of what was erased, and the signature is the server’s: the receipt proves the erasure without naming anybody.',
    ),
    element(
      'p',
      {},
      element('button', { type: 'button', class: 'button', click: save }, 'Download the receipt'),
    ),
  );
}
