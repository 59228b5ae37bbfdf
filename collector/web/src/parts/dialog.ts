// A question that must be answered before anything else.

import { element, uniqueId, type Child } from '../dom';

/** Asks; true only for the button that says `action`. Escape and the other button say no. */
export function confirm(title: string, action: string, ...children: Child[]): Promise<boolean> {
  return new Promise((resolve) => {
    const titleId = uniqueId('dialog');
    const dialog = element('dialog', { 'aria-labelledby': titleId });
    const close = (isConfirmed: boolean) => () => {
      dialog.returnValue = isConfirmed ? 'yes' : 'no';
      dialog.close(dialog.returnValue);
    };
    dialog.append(
      element('h2', { id: titleId }, title),
      element('div', { class: 'dialog-text' }, ...children),
      element(
        'div',
        { class: 'form-actions' },
        // The first button has the focus, and Enter must not erase.
        element('button', { type: 'button', class: 'button', click: close(false) }, 'Cancel'),
        element('button', { type: 'button', class: 'button danger', click: close(true) }, action),
      ),
    );
    dialog.addEventListener('close', () => {
      dialog.remove();
      resolve(dialog.returnValue === 'yes');
    });
    document.body.append(dialog);
    dialog.showModal();
  });
}

/** Shows a form in a dialog; the form gets a function that closes it. */
export function formDialog(title: string, make: (close: () => void) => HTMLElement): void {
  const titleId = uniqueId('dialog');
  const dialog = element('dialog', { 'aria-labelledby': titleId });
  const close = () => {
    dialog.close();
  };
  dialog.append(
    element(
      'div',
      { class: 'dialog-head' },
      element('h2', { id: titleId }, title),
      element(
        'button',
        { type: 'button', class: 'button quiet', 'aria-label': 'Close', click: close },
        '✕',
      ),
    ),
    make(close),
  );
  dialog.addEventListener('close', () => {
    dialog.remove();
  });
  document.body.append(dialog);
  dialog.showModal();
  dialog.querySelector('input')?.focus();
}
