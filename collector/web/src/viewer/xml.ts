// Reads XML as far as reports have it: elements, attributes, text, references to characters. The
// browser's own parser refuses references to control characters, which the sender writes, and
// puts a page with inline styles in the place of a file that is not whole.

export interface XmlElement {
  name: string;
  attributes: Map<string, string>;
  children: XmlElement[];
  text: string;
}

/** A text that is not whole XML, or has a document type, or is too deep. */
export class XmlError extends Error {}

const deepest = 100;

/** An instruction, a comment, a section of text (1), an end (2), or a start (3), its attributes (4) and its slash (5). */
const markup =
  /<(?:\?[^]*?\?>|!--[^]*?-->|!\[CDATA\[([^]*?)\]\]>|\/([^\s<>/]+)\s*>|([^\s<>/!?'"=]+)((?:\s+[^\s<>/'"=]+\s*=\s*(?:"[^"<]*"|'[^'<]*'))*)\s*(\/?)>)/y;
const attribute = /([^\s<>/'"=]+)\s*=\s*(?:"([^"<]*)"|'([^'<]*)')/g;

const named = new Map([
  ['lt', '<'],
  ['gt', '>'],
  ['amp', '&'],
  ['quot', '"'],
  ['apos', "'"],
]);
const notShown = '\uFFFD';

function characterOf(number: number): string {
  const isShown = number >= 0x20 && number <= 0x10ffff && !(number >= 0xd800 && number <= 0xdfff);
  return isShown || number === 0x09 || number === 0x0a || number === 0x0d
    ? String.fromCodePoint(number)
    : notShown;
}

/** The text with its references replaced; one that is not known stays as it is. */
function withoutReferences(text: string): string {
  return text.replace(
    /&(?:#x([0-9a-f]+)|#([0-9]+)|(\w+));/gi,
    (reference, hexadecimal?: string, decimal?: string, name?: string) => {
      if (hexadecimal !== undefined) return characterOf(Number.parseInt(hexadecimal, 16));
      if (decimal !== undefined) return characterOf(Number.parseInt(decimal, 10));
      return named.get(name ?? '') ?? reference;
    },
  );
}

function attributesOf(text: string): Map<string, string> {
  const attributes = new Map<string, string>();
  for (const [, name = '', double, single] of text.matchAll(attribute)) {
    if (!attributes.has(name)) attributes.set(name, withoutReferences(double ?? single ?? ''));
  }
  return attributes;
}

/** The root element. Throws `XmlError`. */
export function parseXml(source: string): XmlElement {
  const text = source.replace(/^\uFEFF/, '');
  const root: XmlElement = { name: '', attributes: new Map(), children: [], text: '' };
  const open = [root];
  let place = 0;
  while (place < text.length) {
    const next = text.indexOf('<', place);
    const current = open.at(-1) ?? root;
    const between = text.slice(place, next < 0 ? text.length : next);
    if (current === root && between.trim() !== '')
      throw new XmlError('text outside of the root element');
    current.text += withoutReferences(between);
    if (next < 0) break;

    markup.lastIndex = next;
    const found = markup.exec(text);
    if (!found)
      throw new XmlError(text.startsWith('<!DOCTYPE', next) ? 'a document type' : 'broken markup');
    place = markup.lastIndex;
    const [, section, end, start, attributes = '', slash] = found;
    if (section !== undefined) {
      current.text += section;
    } else if (end !== undefined) {
      if (open.length === 1 || current.name !== end)
        throw new XmlError(`an end of ${end} that has no start`);
      open.pop();
    } else if (start !== undefined) {
      if (current === root && root.children.length > 0) throw new XmlError('two root elements');
      const element: XmlElement = {
        name: start,
        attributes: attributesOf(attributes),
        children: [],
        text: '',
      };
      current.children.push(element);
      if (slash === '') open.push(element);
      if (open.length > deepest) throw new XmlError('too deep');
    }
  }
  const [found] = root.children;
  if (open.length > 1 || !found) throw new XmlError('cut off');
  return found;
}
