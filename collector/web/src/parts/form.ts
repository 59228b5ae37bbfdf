// Forms that send JSON.

import { element, uniqueId, type Child } from '../dom';
import { FormMessage, messageOf } from './status';

export interface FieldOptions {
  type?: string;
  autocomplete?: string;
  hint?: string;
  isOptional?: boolean;
  shortest?: number;
  longest?: number;
  value?: string;
}

export interface Field {
  element: HTMLElement;
  input: HTMLInputElement;
}

export function field(label: string, options: FieldOptions = {}): Field {
  const id = uniqueId('field');
  const hintId = `${id}-hint`;
  const input = element('input', {
    id,
    type: options.type ?? 'text',
    autocomplete: options.autocomplete ?? 'off',
    required: options.isOptional !== true,
    minlength: options.shortest,
    maxlength: options.longest,
    value: options.value,
    spellcheck: 'false',
    autocapitalize: 'none',
    'aria-describedby': options.hint ? hintId : undefined,
  });
  const hint = options.hint ? element('span', { id: hintId, class: 'hint' }, options.hint) : null;
  return {
    element: element('div', { class: 'field' }, element('label', { for: id }, label), input, hint),
    input,
  };
}

export interface Choice {
  value: string;
  text: string;
}

export interface SelectField {
  element: HTMLElement;
  select: HTMLSelectElement;
}

export function selectField(label: string, choices: Choice[], value: string): SelectField {
  const id = uniqueId('field');
  const select = element(
    'select',
    { id },
    ...choices.map((choice) =>
      element('option', { value: choice.value, selected: choice.value === value }, choice.text),
    ),
  );
  return {
    element: element('div', { class: 'field' }, element('label', { for: id }, label), select),
    select,
  };
}

/**
 * A form with a button and a place for words. While `submit` runs the button rests; what it throws
 * is shown.
 */
export function form(
  action: string,
  submit: (message: FormMessage) => Promise<void>,
  ...children: Child[]
): HTMLFormElement {
  const message = new FormMessage();
  const button = element('button', { type: 'submit', class: 'button primary' }, action);
  const made = element(
    'form',
    { class: 'form' },
    ...children,
    element('div', { class: 'form-actions' }, button),
    message.element,
  );
  made.addEventListener('submit', (event) => {
    event.preventDefault();
    if (button.getAttribute('aria-disabled') === 'true') return;
    message.clear();
    button.setAttribute('aria-disabled', 'true');
    submit(message)
      .catch((error: unknown) => {
        message.bad(messageOf(error));
      })
      .finally(() => {
        button.removeAttribute('aria-disabled');
      });
  });
  return made;
}
