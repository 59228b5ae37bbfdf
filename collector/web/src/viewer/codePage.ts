// The code page of a report's text.

/** By the lower ten bits of the number that Windows has for a language; 1252 for all others. */
const primaryLanguages: Record<number, string> = {
  0x01: 'windows-1256',
  0x02: 'windows-1251',
  0x04: 'gbk',
  0x05: 'windows-1250',
  0x08: 'windows-1253',
  0x0d: 'windows-1255',
  0x0e: 'windows-1250',
  0x11: 'shift_jis',
  0x12: 'euc-kr',
  0x15: 'windows-1250',
  0x18: 'windows-1250',
  0x19: 'windows-1251',
  0x1a: 'windows-1250',
  0x1b: 'windows-1250',
  0x1c: 'windows-1250',
  0x1e: 'windows-874',
  0x1f: 'windows-1254',
  0x20: 'windows-1256',
  0x22: 'windows-1251',
  0x23: 'windows-1251',
  0x24: 'windows-1250',
  0x25: 'windows-1257',
  0x26: 'windows-1257',
  0x27: 'windows-1257',
  0x28: 'windows-1251',
  0x29: 'windows-1256',
  0x2a: 'windows-1258',
  0x2c: 'windows-1254',
  0x2f: 'windows-1251',
  0x3f: 'windows-1251',
  0x40: 'windows-1251',
  0x42: 'windows-1250',
  0x43: 'windows-1254',
  0x44: 'windows-1251',
  0x50: 'windows-1251',
  0x6d: 'windows-1251',
  0x80: 'windows-1256',
  0x85: 'windows-1251',
  0x8c: 'windows-1256',
  0x92: 'windows-1256',
};

/** Languages whose script, and with it the code page, differs from that of their primary language. */
const wholeLanguages: Record<number, string> = {
  0x0404: 'big5',
  0x0c04: 'big5',
  0x1404: 'big5',
  0x7c04: 'big5',
  0x0c1a: 'windows-1251',
  0x1c1a: 'windows-1251',
  0x201a: 'windows-1251',
  0x281a: 'windows-1251',
  0x301a: 'windows-1251',
  0x641a: 'windows-1251',
  0x6c1a: 'windows-1251',
  0x082c: 'windows-1251',
  0x742c: 'windows-1251',
  0x0843: 'windows-1251',
  0x7843: 'windows-1251',
  0x0846: 'windows-1256',
  0x0859: 'windows-1256',
  // These have no code page of their own.
  0x0850: 'windows-1252',
  0x0c50: 'windows-1252',
  0x7c50: 'windows-1252',
};

export const westernCodePage = 'windows-1252';

/** The code page, as browsers name it, that goes with a machine's `Locale`, as "0407". */
export function codePageOfLocale(locale: string): string {
  if (!/^[0-9a-f]{1,8}$/i.test(locale)) return westernCodePage;
  // A sort order may be above the language.
  const language = Number.parseInt(locale, 16) & 0xffff;
  return wholeLanguages[language] ?? primaryLanguages[language & 0x3ff] ?? westernCodePage;
}

/** Markup is ASCII in all of these code pages, so it can be read before the code page is known. */
function localeOf(bytes: Uint8Array): string {
  const text = new TextDecoder('windows-1252').decode(bytes);
  for (const [, attributes = '', value = ''] of text.matchAll(
    /<prop\s([^<>]*)>([^<>]*)<\/prop>/g,
  )) {
    if (/\bname\s*=\s*["']Locale["']/.test(attributes) && /\bcat\s*=\s*["']OS["']/.test(attributes))
      return value.trim();
  }
  return '';
}

/**
 * The code page of a report: UTF-8 if it begins with a byte-order mark or declares it, else the one
 * that goes with the machine's `Locale`, else 1252.
 */
export function codePageOf(bytes: Uint8Array): string {
  if (bytes[0] === 0xef && bytes[1] === 0xbb && bytes[2] === 0xbf) return 'utf-8';
  const start = new TextDecoder('windows-1252').decode(bytes.subarray(0, 200));
  const declaration = /^\s*<\?xml\b[^>]*\?>/.exec(start)?.[0];
  if (declaration !== undefined) {
    const encoding = /\bencoding\s*=\s*["']([^"']*)["']/.exec(declaration)?.[1]?.toLowerCase();
    if (encoding === undefined || encoding === 'utf-8' || encoding === 'utf8') return 'utf-8';
  }
  return codePageOfLocale(localeOf(bytes));
}
