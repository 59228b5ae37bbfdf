// Makes elements. Texts become text nodes, so no text is ever read as markup.

export type Child = Node | string | null | undefined | false;
type Listener = (event: Event) => void;
type Properties = Record<string, string | number | boolean | Listener | undefined>;

/**
 * An element. A function listens to the event of its name, `true` sets an attribute without a
 * value, `false` and undefined set none, everything else is an attribute's value.
 */
export function element<Tag extends keyof HTMLElementTagNameMap>(
  tag: Tag,
  properties: Properties = {},
  ...children: Child[]
): HTMLElementTagNameMap[Tag] {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (typeof value === 'function') made.addEventListener(name, value);
    else if (value === true) made.setAttribute(name, '');
    else if (value !== false && value !== undefined) made.setAttribute(name, String(value));
  }
  made.append(...present(children));
  return made;
}

/** The children that are there. */
export function present(children: Child[]): (Node | string)[] {
  return children.filter((child) => child !== null && child !== undefined && child !== false);
}

let lastNumber = 0;

/** An identifier that no other element of the page has. */
export function uniqueId(prefix: string): string {
  return `${prefix}-${++lastNumber}`;
}

/** Hands a text to the user as a file. */
export function download(name: string, text: string, type: string): void {
  const address = URL.createObjectURL(new Blob([text], { type }));
  const link = element('a', { href: address, download: name });
  link.click();
  // The browser has begun to read the file only when this task has ended.
  setTimeout(() => {
    URL.revokeObjectURL(address);
  }, 10_000);
}
