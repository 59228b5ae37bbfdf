// Numbers, days and shares as a reader sees them.

import { lastDayOf } from './periods';

const decimal = new Intl.NumberFormat('en-US');
const compactDecimal = new Intl.NumberFormat('en-US', {
  notation: 'compact',
  maximumFractionDigits: 1,
});
const percentage = new Intl.NumberFormat('en-US', { maximumFractionDigits: 1 });
const days = new Intl.DateTimeFormat('en-US', { dateStyle: 'medium', timeZone: 'UTC' });
const shortDays = new Intl.DateTimeFormat('en-US', {
  month: 'short',
  day: 'numeric',
  timeZone: 'UTC',
});
const times = new Intl.DateTimeFormat('en-US', {
  dateStyle: 'medium',
  timeStyle: 'short',
  timeZone: 'UTC',
});

const narrowSpace = '\u202F';
/** In place of a number that is withheld or missing. */
export const noValue = '–';

export function number(value: number | null): string {
  return value === null ? noValue : decimal.format(value);
}

/** A number in little room, as "12.3K". */
export function compact(value: number): string {
  return compactDecimal.format(value);
}

/**
 * A fraction as a percentage: with one decimal below ten percent, where it tells rows apart. Only
 * nothing is 0 %, and only everything is 100 %.
 */
export function percent(fraction: number | null): string {
  if (fraction === null) return noValue;
  const value = fraction * 100;
  if (value > 0 && value < 0.05) return `<0.1${narrowSpace}%`;
  if (value < 100 && value >= 99.5) return `>99${narrowSpace}%`;
  const rounded =
    Math.abs(value) < 10 ? percentage.format(value) : decimal.format(Math.round(value));
  return `${rounded}${narrowSpace}%`;
}

/** The difference of two shares in percentage points, with its sign. */
export function points(difference: number | null): string {
  if (difference === null) return noValue;
  const value = Math.round(difference * 1000) / 10;
  if (value === 0) return '0.0';
  return `${value > 0 ? '+' : '−'}${Math.abs(value).toFixed(1)}`;
}

/** A day as "Oct 5, 2026". */
export function day(text: string): string {
  return days.format(Date.parse(`${text}T00:00:00Z`));
}

/** A day without its year, for axes. */
export function shortDay(text: string): string {
  return shortDays.format(Date.parse(`${text}T00:00:00Z`));
}

/** A period as "Oct 5 to Nov 1, 2026". */
export function periodRange(period: string): string {
  return `${shortDay(period)} to ${day(lastDayOf(period))}`;
}

/** A moment in universal time, as "Oct 5, 2026, 3:14 PM UTC". */
export function moment(text: string): string {
  const time = Date.parse(text);
  return Number.isNaN(time) ? text : `${times.format(time)} UTC`;
}

/** A number with its noun, as "1 version" and "3 versions". */
export function counted(value: number, noun: string, nouns = `${noun}s`): string {
  return `${number(value)} ${value === 1 ? noun : nouns}`;
}

/** A file type as it is called; files may have none. */
export function fileType(text: string): string {
  return text || '(none)';
}

/** How long somebody has to wait, as "30 seconds" or "5 minutes". */
export function wait(seconds: number): string {
  return seconds < 90 ? counted(seconds, 'second') : counted(Math.ceil(seconds / 60), 'minute');
}

/** A size in bytes with a unit of powers of 1024, as "8 GiB". */
export function bytes(value: number): string {
  const units = ['B', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB'];
  let scaled = value;
  let unit = 0;
  while (scaled >= 1024 && unit < units.length - 1) {
    scaled /= 1024;
    ++unit;
  }
  return `${percentage.format(scaled)} ${units[unit] ?? ''}`;
}
