// The titles of the charts: what is to be seen in them, in words.

import type { CommandRow, FileTypeRow, IntakeRow, MachineRow, OverviewRow } from './figures';
import { counted, day, number, percent, points } from './format';
import { isRunning, lastDayOf } from './periods';
import type { Adoption } from './versions';

/** The last row whose period has ended, and the row of the period before that. */
export function lastWholePeriods(
  rows: OverviewRow[],
  today: string,
): { last: OverviewRow | null; before: OverviewRow | null } {
  const ended = rows.filter((row) => !isRunning(row.period, today));
  const last = ended.at(-1) ?? null;
  const before = ended.at(-2) ?? null;
  // A period that is withheld may be between them.
  const areNeighbors =
    last && before && Date.parse(lastDayOf(before.period)) + 86_400_000 === Date.parse(last.period);
  return { last, before: areNeighbors ? before : null };
}

/** How a number compares with an earlier one, as "5 % more than"; null without an earlier one. */
export function comparison(now: number | null, earlier: number | null): string | null {
  if (now === null || earlier === null || earlier === 0) return null;
  const change = now / earlier - 1;
  if (Math.abs(change) < 0.0005) return 'as many as';
  return `${percent(Math.abs(change))} ${change > 0 ? 'more' : 'fewer'} than`;
}

export function overviewFinding(rows: OverviewRow[], today: string): string {
  const { last, before } = lastWholePeriods(rows, today);
  if (!last) return 'The first period is still running';
  const installations = `${counted(last.installations ?? 0, 'installation')} reported in the period that ended on ${day(lastDayOf(last.period))}`;
  const compared = comparison(last.installations, before?.installations ?? null);
  return compared ? `${installations}, ${compared} in the one before` : installations;
}

export function commandsFinding(rows: CommandRow[]): string {
  const first = rows[0];
  if (!first) return 'No command is used by enough installations';
  const share = first.share === null ? '' : ` by ${percent(first.share)} of installations`;
  return `${first.command} is used most: ${number(first.uses)} times${share}`;
}

/** `trends` are differences of shares by command. */
export function trendFinding(trends: Map<string, number>): string | null {
  let strongest: [string, number] | null = null;
  for (const entry of trends) {
    if (!strongest || Math.abs(entry[1]) > Math.abs(strongest[1])) strongest = entry;
  }
  if (!strongest || Math.abs(strongest[1]) < 0.0005) return null;
  const [command, difference] = strongest;
  return `${command} changed most, by ${points(difference)} percentage points`;
}

export function orderFinding(rows: CommandRow[]): string {
  const first = rows[0];
  const earliest = first?.median_order ?? null;
  if (!first || earliest === null) return 'No order of first use is known';
  const same = rows.filter((row) => row.median_order === earliest).length - 1;
  const others = same > 0 ? ` and ${counted(same, 'other')}` : '';
  const place = earliest === 1 ? 'first' : `at place ${number(earliest)}`;
  return `${first.command}${others} ${same > 0 ? 'come' : 'comes'} ${place}`;
}

export function fileTypesFinding(rows: FileTypeRow[]): string {
  const first = rows[0];
  if (!first) return 'No file type is used by enough installations';
  const sum = (row: FileTypeRow) => (row.opened ?? 0) + (row.saved ?? 0);
  const total = rows.reduce((all, row) => all + sum(row), 0);
  return `${first.file_type} is ${percent(total === 0 ? 0 : sum(first) / total)} of all documents opened and saved`;
}

export function versionsFinding(adoption: Adoption): string {
  const { period, shares } = adoption.latest;
  const [leader] = shares;
  if (!leader || !period) return 'No version is used by enough installations';
  const newest = adoption.versions[0];
  const leads = `Version ${leader.version} leads with ${percent(leader.share)} of installations`;
  if (!newest || newest === leader.version) return `${leads}; it is the newest one`;
  const share = shares.find((entry) => entry.version === newest)?.share;
  return share === undefined ? leads : `${leads}; the newest, ${newest}, has ${percent(share)}`;
}

/** `rows` are those of one property, the most frequent first, `installations` all in the range. */
export function machineFinding(
  rows: MachineRow[],
  installations: number | null,
  nameOf: (value: string) => string,
): string {
  const first = rows[0];
  if (!first) return 'No value is shared by enough installations';
  const part = installations
    ? percent(first.installations / installations)
    : number(first.installations);
  return `${nameOf(first.value)} on ${part}`;
}

export function intakeFinding(row: IntakeRow): string {
  const refused = Object.values(row.refused).reduce((all, count) => all + count, 0);
  if (row.accepted + row.repeated + refused === 0) return 'Nothing has arrived';
  const arrived = `${counted(row.accepted, 'delivery', 'deliveries')} taken`;
  return refused === 0 ? `${arrived}, none refused` : `${arrived}, ${number(refused)} refused`;
}
