import { getFigure } from '../data/api';
import { figureAddress, type IntakeRow } from '../data/figures';
import { intakeFinding } from '../data/findings';
import { counted, number, percent, periodRange } from '../data/format';
import { isRunning, lastDayOf, periodsBetween, today } from '../data/periods';
import { meaningOf } from '../data/refusals';
import { element, type Child } from '../dom';
import { figure } from '../parts/figure';
import { healthLine } from '../parts/health';
import type { Context, View } from './view';

interface Outcome {
  name: string;
  meaning: string;
  count: number;
}

function refusedOf(row: IntakeRow): number {
  return Object.values(row.refused).reduce((all, count) => all + count, 0);
}

function outcomesOf(row: IntakeRow): Outcome[] {
  return [
    {
      name: 'New report',
      meaning: 'Taken: it is kept and counted',
      count: row.accepted - row.replaced,
    },
    {
      name: 'Replaces an earlier one',
      meaning: 'Taken: the same report, grown, counts in place of the earlier one',
      count: row.replaced,
    },
    {
      name: 'Repeated',
      meaning: 'A delivery that was kept already; it changes nothing',
      count: row.repeated,
    },
    {
      name: 'Refused',
      meaning: 'The sender keeps the report and tries again',
      count: refusedOf(row),
    },
  ];
}

/** What became of the deliveries of the range. */
export function intakeFigure(
  row: IntakeRow,
  context: Context,
  title: string,
  more?: Child,
): HTMLElement {
  const outcomes = outcomesOf(row);
  const total = outcomes.reduce((all, outcome) => all + outcome.count, 0);
  const share = (outcome: Outcome) => (total ? outcome.count / total : null);
  return figure({
    title,
    subtitle: 'Deliveries by what became of them',
    rows: outcomes,
    columns: [
      { name: 'Outcome', value: (outcome) => outcome.name },
      { name: 'Deliveries', value: (outcome) => outcome.count },
      { name: 'Share', value: share, text: (outcome) => percent(share(outcome)) },
      { name: 'What it means', value: (outcome) => outcome.meaning },
    ],
    chart: (charts, shown, width) =>
      charts.rankedBars(
        shown.map((outcome) => ({
          label: outcome.name,
          value: outcome.count,
          columns: [percent(share(outcome)), number(outcome.count)],
        })),
        { columns: ['Share', 'Number'], labelShare: 0.36 },
        width,
      ),
    address: figureAddress('intake', context.filter),
    more,
  });
}

function refusalsFigure(row: IntakeRow, context: Context): HTMLElement {
  const rows = Object.entries(row.refused)
    .map(([code, count]) => ({ code, count }))
    .sort((a, b) => b.count - a.count);
  const first = rows[0];
  return figure({
    title: first
      ? `${number(first.count)} of ${number(refusedOf(row))} refused for ${first.code}: ${meaningOf(first.code)}`
      : 'Nothing was refused',
    subtitle: 'Refused deliveries by reason',
    rows,
    columns: [
      { name: 'Code', value: (entry) => entry.code },
      { name: 'Deliveries', value: (entry) => entry.count },
      { name: 'What it means', value: (entry) => meaningOf(entry.code) },
    ],
    chart: (charts, shown, width) =>
      charts.rankedBars(
        shown.map((entry) => ({
          label: entry.code,
          value: entry.count,
          columns: [number(entry.count)],
        })),
        { columns: ['Number'], labelShare: 0.3 },
        width,
      ),
    address: figureAddress('intake', context.filter),
    notes: [
      'A refused report stays with its sender, which tries again. Deliveries that name no known product count under every product.',
    ],
    empty: 'Every delivery in this range was taken.',
  });
}

/** As many periods as a year has; each takes a request of its own. */
const drawnPeriods = 13;
const parts = ['new report', 'replaces an earlier one', 'repeated', 'refused'];

interface PeriodIntake extends IntakeRow {
  period: string;
}

async function intakeByPeriod(periods: string[], context: Context): Promise<PeriodIntake[]> {
  return Promise.all(
    periods.map(async (period) => {
      const answer = await getFigure('intake', {
        ...context.filter,
        from: period,
        to: lastDayOf(period),
      });
      return {
        ...(answer.rows[0] ?? { accepted: 0, replaced: 0, repeated: 0, refused: {} }),
        period,
      };
    }),
  );
}

function periodsFigure(rows: PeriodIntake[], isCut: boolean): HTMLElement {
  const busiest = rows.reduce<PeriodIntake | null>(
    (most, row) => (!most || row.accepted > most.accepted ? row : most),
    null,
  );
  return figure({
    title: busiest
      ? `Most arrived from ${periodRange(busiest.period)}: ${counted(busiest.accepted, 'delivery', 'deliveries')} taken`
      : 'Nothing has arrived',
    subtitle: `Deliveries by the period of 28 days in which they arrived${isCut ? `, the last ${drawnPeriods} periods` : ''}`,
    rows,
    columns: [
      { name: 'Period', value: (row) => row.period, text: (row) => periodRange(row.period) },
      { name: 'Taken', value: (row) => row.accepted },
      { name: 'Replace another', value: (row) => row.replaced },
      { name: 'Repeated', value: (row) => row.repeated },
      { name: 'Refused', value: refusedOf },
    ],
    chart: (charts, shown, width) =>
      charts.periodBars(
        shown.flatMap((row) =>
          [row.accepted - row.replaced, row.replaced, row.repeated, refusedOf(row)].map(
            (value, place) => ({ period: row.period, part: parts[place] ?? '', value }),
          ),
        ),
        parts,
        shown.map((row) => row.period),
        width,
      ),
    key: (charts) =>
      charts.partColors(parts.length).map((color, place) => ({ color, text: parts[place] ?? '' })),
    notes: rows.some((row) => isRunning(row.period, today()))
      ? ['The last period is still running, so its bar will grow.']
      : [],
    class: 'wide',
  });
}

export const intake: View = {
  path: '/intake',
  title: 'Intake',
  lead: 'What arrived, and what became of it. These numbers count deliveries, so no threshold applies.',
  filters: { version: false, periods: true },
  content: async (context) => {
    const health = healthLine();
    const filtered = { ...context, filter: { ...context.filter, version: '' } };
    const answer = await getFigure('intake', filtered.filter);
    const row = answer.rows[0] ?? { accepted: 0, replaced: 0, repeated: 0, refused: {} };
    const periods = periodsBetween(answer.from, answer.to);
    const byPeriod = await intakeByPeriod(periods.slice(-drawnPeriods), filtered);
    return [
      health,
      element(
        'div',
        { class: 'figures' },
        periodsFigure(byPeriod, periods.length > drawnPeriods),
        intakeFigure(row, filtered, intakeFinding(row)),
        refusalsFigure(row, filtered),
      ),
    ];
  },
};
