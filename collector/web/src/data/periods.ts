// The calendar of the figures: periods of 28 days, counted from 2024-01-01. Days are texts as
// "2026-01-05"; a period is named by its first day.

const millisecondsOfDay = 86_400_000;
const daysOfPeriod = 28;
const firstDay = Date.UTC(2024, 0, 1) / millisecondsOfDay;

/** The number of a day since 1970-01-01; null for a text that is no day. */
function dayNumber(day: string): number | null {
  if (!/^\d{4}-\d{2}-\d{2}$/.test(day)) return null;
  const time = Date.parse(`${day}T00:00:00Z`);
  if (Number.isNaN(time)) return null;
  const number = time / millisecondsOfDay;
  // Some engines read February 30 as a day of March.
  return dayText(number) === day ? number : null;
}

function dayText(number: number): string {
  return new Date(number * millisecondsOfDay).toISOString().slice(0, 10);
}

export function isDay(text: string): boolean {
  return dayNumber(text) !== null;
}

/** The period that a day is in; null for a text that is no day. */
export function periodOf(day: string): string | null {
  const number = dayNumber(day);
  if (number === null) return null;
  return dayText(firstDay + Math.floor((number - firstDay) / daysOfPeriod) * daysOfPeriod);
}

/** The last day of a period. */
export function lastDayOf(period: string): string {
  return dayText((dayNumber(period) ?? firstDay) + daysOfPeriod - 1);
}

/** The periods from that of one day to that of another, both included; none if they are reversed. */
export function periodsBetween(from: string, to: string): string[] {
  const first = dayNumber(periodOf(from) ?? '');
  const last = dayNumber(to);
  if (first === null || last === null) return [];
  const periods: string[] = [];
  for (let day = first; day <= last; day += daysOfPeriod) periods.push(dayText(day));
  return periods;
}

/** Whether reports of the period can still arrive. */
export function isRunning(period: string, today: string): boolean {
  return lastDayOf(period) >= today;
}

/** Today's day in universal time, which is the one that the figures count by. */
export function today(): string {
  return new Date().toISOString().slice(0, 10);
}
