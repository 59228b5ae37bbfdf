import { getFigure } from '../data/api';
import { figureAddress, type VersionRow } from '../data/figures';
import { versionsFinding } from '../data/findings';
import { periodRange } from '../data/format';
import { periodsBetween } from '../data/periods';
import { adoptionOf } from '../data/versions';
import { element } from '../dom';
import { figure } from '../parts/figure';
import { nothingYet } from '../parts/status';
import type { View } from './view';

function nameOf(version = ''): string {
  return version === '' ? 'without a version' : version;
}

/** More applications than this are in the table of all only. */
const drawnApplications = 6;

function byApplication(rows: VersionRow[]): [string, VersionRow[]][] {
  const groups = new Map<string, VersionRow[]>();
  for (const row of rows)
    groups.set(row.application, [...(groups.get(row.application) ?? []), row]);
  const size = (group: VersionRow[]) => group.reduce((all, row) => all + row.installations, 0);
  return [...groups].sort((a, b) => size(b[1]) - size(a[1]));
}

export const versions: View = {
  path: '/versions',
  title: 'Versions',
  lead: 'How fast new versions are taken up.',
  filters: { version: true, periods: true },
  content: async ({ filter }) => {
    const answer = await getFigure('versions', filter);
    const first = answer.rows[0];
    const last = answer.rows.at(-1);
    if (!first || !last) return [nothingYet(answer)];
    const periods = periodsBetween(first.period, last.period);
    const groups = byApplication(answer.rows);
    const figures = groups.slice(0, drawnApplications).map(([application, rows]) => {
      const adoption = adoptionOf(rows, periods);
      const name = application || 'Without a name';
      return figure({
        title: `${groups.length > 1 ? `${name}: ` : ''}${versionsFinding(adoption)}`,
        subtitle: `Installations by version and period of 28 days, ${name}`,
        rows,
        columns: [
          { name: 'Period', value: (row) => row.period, text: (row) => periodRange(row.period) },
          { name: 'Version', value: (row) => nameOf(row.version) },
          { name: 'Installations', value: (row) => row.installations },
        ],
        chart: (charts, _, width) =>
          charts.versionLayers(adoption.points, adoption.versions, periods, width),
        key: (charts) =>
          charts
            .versionColors(adoption.versions)
            .map((color, place) => ({ color, text: nameOf(adoption.versions[place]) })),
        address: figureAddress('versions', filter),
        withheld: {
          rows: answer.withheld.rows,
          threshold: answer.threshold,
          what: 'of all applications together, their numbers rest',
        },
        notes:
          answer.withheld.rows > 0
            ? ['A version that is withheld in a period is drawn as if it were not there.']
            : [],
        class: 'wide',
      });
    });
    const left = groups.length - drawnApplications;
    return [
      element('div', { class: 'figures' }, ...figures),
      ...(left > 0
        ? [
            element(
              'p',
              { class: 'figure-note' },
              `The CSV and JSON hold ${left} more applications.`,
            ),
          ]
        : []),
    ];
  },
};
