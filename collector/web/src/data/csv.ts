// Tables as CSV (RFC 4180), for figures that the server has no address for.

type Value = string | number | null;

function fieldOf(value: Value): string {
  if (typeof value === 'number' || value === null) return String(value ?? '');
  // A spreadsheet could take such a text for a formula.
  const text = /^[=+\-@\t]/.test(value) ? `'${value}` : value;
  return /[",\r\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text;
}

/** A header and the rows, each with CR LF at its end. A missing value is an empty field. */
export function csvOf(header: string[], rows: Value[][]): string {
  return [header, ...rows].map((row) => `${row.map(fieldOf).join(',')}\r\n`).join('');
}
