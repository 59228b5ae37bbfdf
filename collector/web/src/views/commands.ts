import { getFigure } from '../data/api';
import { figureAddress, type CommandRow } from '../data/figures';
import type { Filter } from '../data/filter';
import { commandsFinding, orderFinding, trendFinding } from '../data/findings';
import { number, percent, points, shortDay } from '../data/format';
import { isRunning, lastDayOf, periodsBetween, today } from '../data/periods';
import { element } from '../dom';
import { figure } from '../parts/figure';
import { selectField } from '../parts/form';
import { nothingYet } from '../parts/status';
import type { Context, View } from './view';

const listed = 30;

interface Trend {
  last: string;
  before: string;
  /** By command: the share in the last period minus that in the one before. */
  differences: Map<string, number>;
}

/**
 * How the shares changed between the last two whole periods of the range. It takes two figures of
 * one period each, whatever the range; a command that is withheld in one of them has no trend.
 */
async function trendOf(from: string, to: string, filter: Filter): Promise<Trend | null> {
  const now = today();
  const periods = periodsBetween(from, to).filter((period) => !isRunning(period, now));
  const last = periods.at(-1);
  const before = periods.at(-2);
  if (!last || !before) return null;
  const [later, earlier] = await Promise.all(
    [last, before].map((period) =>
      getFigure('commands', { ...filter, from: period, to: lastDayOf(period) }),
    ),
  );
  const shares = new Map(earlier?.rows.map((row) => [row.command, row.share]));
  const differences = new Map<string, number>();
  for (const row of later?.rows ?? []) {
    const share = shares.get(row.command);
    if (typeof share === 'number' && row.share !== null)
      differences.set(row.command, row.share - share);
  }
  return { last, before, differences };
}

type Measure = 'uses' | 'share';

export const commands: View = {
  path: '/commands',
  title: 'Commands',
  lead: 'What is used, by how many, and what they use first.',
  filters: { version: true, periods: true },
  content: async (context) => {
    const answer = await getFigure('commands', context.filter);
    if (answer.rows.length === 0) return [nothingYet(answer)];
    // The range in the answer goes on to the running period; reports end with the product's last.
    const product = context.products.find((entry) => entry.name === answer.product);
    const end = product?.to && product.to < answer.to ? product.to : answer.to;
    const trend = await trendOf(answer.from, end, context.filter);
    const withheld = {
      rows: answer.withheld.rows,
      threshold: answer.threshold,
      what: 'the numbers of these commands rest',
    };

    const ranking = element('div', { class: 'slot wide' });
    const drawRanking = (measure: Measure) => {
      ranking.replaceChildren(
        rankingFigure(answer.rows, trend, measure, context, withheld, drawRanking),
      );
    };
    drawRanking('uses');
    return [element('div', { class: 'figures' }, ranking, orderFigure(answer.rows, context))];
  },
};

function rankingFigure(
  rows: CommandRow[],
  trend: Trend | null,
  measure: Measure,
  context: Context,
  withheld: { rows: number; threshold: number; what: string },
  draw: (measure: Measure) => void,
): HTMLElement {
  const difference = (row: CommandRow) => trend?.differences.get(row.command) ?? null;
  const shown =
    measure === 'uses' ? rows : [...rows].sort((a, b) => (b.share ?? 0) - (a.share ?? 0));
  const strongest = trend ? trendFinding(trend.differences) : null;
  const notes = trend
    ? [
        `Trend: the share from ${shortDay(trend.last)} to ${shortDay(lastDayOf(trend.last))} minus that from ${shortDay(trend.before)} to ${shortDay(lastDayOf(trend.before))}, in percentage points.${strongest ? ` ${strongest}.` : ''}`,
      ]
    : ['A trend needs two whole periods.'];
  const made = figure({
    title: commandsFinding(rows),
    subtitle:
      'Uses in all, the share of installations that use the command, and the trend of that share',
    rows: shown,
    columns: [
      { name: 'Command', value: (row) => row.command },
      { name: 'Uses', value: (row) => row.uses },
      { name: 'Installations', value: (row) => row.installations },
      { name: 'Share', value: (row) => row.share, text: (row) => percent(row.share) },
      { name: 'Trend', value: difference, text: (row) => points(difference(row)) },
      { name: 'Median place', value: (row) => row.median_order },
    ],
    chart: (charts, part, width) =>
      charts.rankedBars(
        part.map((row) => {
          const columns = [number(row.uses), percent(row.share), points(difference(row))];
          return {
            label: row.command,
            value: measure === 'uses' ? row.uses : (row.share ?? 0),
            columns,
          };
        }),
        {
          columns: ['Uses', 'Share', 'Trend'],
          labelShare: 0.3,
          ...(measure === 'share' ? { maximum: 1 } : {}),
        },
        width,
      ),
    search: { label: 'Search commands', text: (row) => row.command },
    limit: listed,
    address: figureAddress('commands', context.filter),
    withheld,
    notes,
  });
  const order = selectField(
    'Ranked by',
    [
      { value: 'uses', text: 'Uses' },
      { value: 'share', text: 'Share of installations' },
    ],
    measure,
  );
  order.select.addEventListener('change', () => {
    draw(order.select.value as Measure);
    document.querySelector<HTMLSelectElement>('.figure-order select')?.focus();
  });
  order.element.classList.add('figure-order');
  made.querySelector('.search')?.append(order.element);
  return made;
}

/** Used by a tenth of the installations: without that, rare commands of a few fill the list. */
const commonShare = 0.1;

function orderFigure(rows: CommandRow[], context: Context): HTMLElement {
  const common = rows
    .filter((row) => row.median_order !== null && (row.share ?? 0) >= commonShare)
    .sort(
      (a, b) => (a.median_order ?? 0) - (b.median_order ?? 0) || (b.share ?? 0) - (a.share ?? 0),
    );
  return figure({
    title: orderFinding(common),
    subtitle: `Median place in the order in which installations first used the commands, of those that at least ${percent(commonShare)} use`,
    rows: common,
    columns: [
      { name: 'Command', value: (row) => row.command },
      { name: 'Median place', value: (row) => row.median_order },
      { name: 'Share', value: (row) => row.share, text: (row) => percent(row.share) },
      { name: 'Installations', value: (row) => row.installations },
    ],
    chart: (charts, part, width) =>
      charts.placeDots(
        part.map((row) => ({
          label: row.command,
          place: row.median_order ?? 0,
          detail: percent(row.share),
        })),
        { axis: 'Median place of first use', detail: 'Share' },
        width,
      ),
    limit: listed,
    address: figureAddress('commands', context.filter),
    empty: 'No command that many use has an order of first use.',
    class: 'wide',
  });
}
