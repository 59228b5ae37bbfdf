import { getFigure } from '../data/api';
import { figureAddress, type MachineRow } from '../data/figures';
import { machineFinding } from '../data/findings';
import { number, percent } from '../data/format';
import { numberOfValue, textOfProperty, textOfValue, type PropertyText } from '../data/machines';
import { element } from '../dom';
import { figure } from '../parts/figure';
import { nothingYet } from '../parts/status';
import type { View } from './view';

interface Group {
  category: string;
  name: string;
  text: PropertyText;
  rows: MachineRow[];
}

function groupsOf(rows: MachineRow[]): Group[] {
  const groups = new Map<string, Group>();
  for (const row of rows) {
    const key = JSON.stringify([row.category, row.name]);
    const group = groups.get(key) ?? {
      category: row.category,
      name: row.name,
      text: textOfProperty(row.category, row.name),
      rows: [],
    };
    group.rows.push(row);
    groups.set(key, group);
  }
  return [...groups.values()].sort((a, b) => a.text.place - b.text.place);
}

/** In their own order, as a distribution is read; values without a number come last. */
function ordered(rows: MachineRow[]): MachineRow[] {
  const key = (row: MachineRow) => numberOfValue(row.value) ?? Infinity;
  return [...rows].sort((a, b) => key(a) - key(b));
}

export const machines: View = {
  path: '/machines',
  title: 'Machines',
  lead: 'What the product runs on: each installation’s latest description in the range.',
  filters: { version: true, periods: true },
  content: async ({ filter }) => {
    const answer = await getFigure('machines', filter);
    if (answer.rows.length === 0) return [nothingYet(answer)];
    const total = answer.installations;
    const share = (row: MachineRow) => (total ? row.installations / total : null);
    const figures = groupsOf(answer.rows).map(({ category, name, text, rows }) => {
      const label = (row: MachineRow) => textOfValue(category, name, row.value);
      return figure({
        title: `${text.title}: ${machineFinding(rows, total, (value) => textOfValue(category, name, value))}`,
        subtitle: `Share of installations; ${text.unit}`,
        rows: text.isOrdered ? ordered(rows) : rows,
        columns: [
          { name: text.title, value: label },
          { name: 'Installations', value: (row) => row.installations },
          { name: 'Share', value: share, text: (row) => percent(share(row)) },
        ],
        chart: (charts, shown, width) =>
          charts.rankedBars(
            shown.map((row) => ({
              label: label(row),
              value: row.installations,
              columns: [percent(share(row))],
            })),
            { columns: [''], labelShare: 0.55, ...(total ? { maximum: total } : {}) },
            width,
          ),
        limit: text.isOrdered ? 16 : 8,
        address: figureAddress('machines', filter),
        class: 'small',
      });
    });
    const { rows } = answer.withheld;
    return [
      element('div', { class: 'figures multiples' }, ...figures),
      ...(rows > 0
        ? [
            element(
              'p',
              { class: 'figure-note withheld' },
              `Of all properties together, ${rows === 1 ? '1 value is' : `${number(rows)} values are`} withheld: the numbers rest on fewer than ${number(answer.threshold)} installations, or would let such a number be worked out.`,
            ),
          ]
        : []),
    ];
  },
};
