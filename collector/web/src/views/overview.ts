import { getFigure } from '../data/api';
import { figureAddress, type Figure, type OverviewRow, type VersionRow } from '../data/figures';
import { queryOf } from '../data/filter';
import { comparison, intakeFinding, lastWholePeriods, overviewFinding } from '../data/findings';
import { number, percent, periodRange } from '../data/format';
import { isRunning, periodsBetween, today } from '../data/periods';
import { adoptionOf } from '../data/versions';
import { element, type Child } from '../dom';
import { figure } from '../parts/figure';
import { nothingYet } from '../parts/status';
import type { Context, View } from './view';
import { intakeFigure } from './intake';

function tile(label: string, value: string, detail: string): HTMLElement {
  return element(
    'div',
    { class: 'tile' },
    element('dt', {}, label),
    element(
      'dd',
      {},
      element('span', { class: 'tile-value' }, value),
      element('span', { class: 'tile-detail' }, detail),
    ),
  );
}

function tiles(rows: OverviewRow[], total: number | null): HTMLElement {
  const { last, before } = lastWholePeriods(rows, today());
  const change = (now: number | null, earlier: number | null) => {
    const compared = comparison(now, earlier);
    return compared ? `, ${compared} in the one before` : '';
  };
  return element(
    'dl',
    { class: 'tiles' },
    tile(
      'Installations',
      number(last?.installations ?? null),
      `in the last whole period${change(last?.installations ?? null, before?.installations ?? null)}`,
    ),
    tile(
      'New installations',
      number(last?.new ?? null),
      `in that period${change(last?.new ?? null, before?.new ?? null)}`,
    ),
    tile('Installations in all', number(total), 'that reported in the range shown'),
    tile(
      'Reports in all',
      number(rows.reduce((all, row) => all + (row.reports ?? 0), 0)),
      'in the range shown',
    ),
  );
}

const returning = 'seen before';
const fresh = 'new';
const undivided = 'new ones withheld';

/** Installations by period, in parts where the number of new ones may be shown. */
function partsOf(row: OverviewRow): { period: string; part: string; value: number }[] {
  if (row.installations === null) return [];
  if (row.new === null) return [{ period: row.period, part: undivided, value: row.installations }];
  return [
    { period: row.period, part: returning, value: row.installations - row.new },
    { period: row.period, part: fresh, value: row.new },
  ];
}

function installationsFigure(answer: Figure<OverviewRow>, context: Context): HTMLElement {
  const { rows } = answer;
  const first = rows[0]?.period ?? '';
  const last = rows.at(-1)?.period ?? '';
  const periods = periodsBetween(first, last);
  const parts = rows.some((row) => row.new === null)
    ? [returning, fresh, undivided]
    : [returning, fresh];
  return figure({
    title: overviewFinding(rows, today()),
    subtitle: 'Installations that reported, by period of 28 days',
    rows,
    columns: [
      { name: 'Period', value: (row) => row.period, text: (row) => periodRange(row.period) },
      { name: 'Installations', value: (row) => row.installations },
      { name: 'New', value: (row) => row.new },
      { name: 'Reports', value: (row) => row.reports },
    ],
    chart: (charts, shown, width) =>
      charts.periodBars(shown.flatMap(partsOf), parts, periods, width),
    key: (charts) =>
      charts.partColors(parts.length).map((color, place) => ({ color, text: parts[place] ?? '' })),
    address: figureAddress('overview', context.filter),
    withheld: {
      rows: answer.withheld.rows,
      threshold: answer.threshold,
      what: 'the numbers of these periods rest',
    },
    notes: isRunning(last, today())
      ? ['The last period is still running, so its bar will grow.']
      : [],
    class: 'wide',
  });
}

function versionsInUse(answer: Figure<VersionRow>, context: Context): HTMLElement {
  const adoption = adoptionOf(answer.rows, [...new Set(answer.rows.map((row) => row.period))], 6);
  const { period, shares } = adoption.latest;
  const leader = shares[0];
  return figure({
    title: leader
      ? `Version ${leader.version} is the most frequent, with ${percent(leader.share)}`
      : 'No version is used by enough installations',
    subtitle: period
      ? `Installations by version, ${periodRange(period)}`
      : 'Installations by version',
    rows: shares,
    columns: [
      { name: 'Version', value: (row) => row.version },
      { name: 'Installations', value: (row) => row.installations },
      { name: 'Share', value: (row) => row.share, text: (row) => percent(row.share) },
    ],
    chart: (charts, shown, width) =>
      charts.rankedBars(
        shown.map((row) => ({
          label: row.version,
          value: row.installations,
          columns: [percent(row.share), number(row.installations)],
        })),
        { columns: ['Share', 'Number'], labelShare: 0.24 },
        width,
      ),
    address: figureAddress('versions', context.filter),
    withheld: {
      rows: answer.withheld.rows,
      threshold: answer.threshold,
      what: 'in all periods together, their numbers rest',
    },
    more: element('a', { href: `/versions${queryOf({ ...context.filter })}` }, 'All versions'),
    empty: 'No version was used by enough installations.',
  });
}

export const overview: View = {
  path: '/overview',
  title: 'Overview',
  lead: 'Who reports, how many are new, and what arrives.',
  filters: { version: true, periods: true },
  content: async (context) => {
    const { filter } = context;
    const [answer, versions, intake] = await Promise.all([
      getFigure('overview', filter),
      getFigure('versions', filter),
      getFigure('intake', filter),
    ]);
    if (answer.rows.length === 0) return [nothingYet(answer)];
    const row = intake.rows[0];
    const link: Child = element(
      'a',
      { href: `/intake${queryOf({ ...filter })}` },
      'All about intake',
    );
    return [
      tiles(answer.rows, answer.installations),
      element(
        'div',
        { class: 'figures' },
        installationsFigure(answer, context),
        versionsInUse(versions, context),
        row ? intakeFigure(row, context, intakeFinding(row), link) : element('div'),
      ),
    ];
  },
};
