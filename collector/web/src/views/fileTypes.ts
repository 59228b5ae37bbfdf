import { getFigure } from '../data/api';
import { figureAddress, type FileTypeRow } from '../data/figures';
import { fileTypesFinding } from '../data/findings';
import { fileType } from '../data/format';
import { element } from '../dom';
import { figure } from '../parts/figure';
import { nothingYet } from '../parts/status';
import type { View } from './view';

const names: [string, string] = ['opened', 'saved'];

export const fileTypes: View = {
  path: '/file-types',
  title: 'File types',
  lead: 'Which documents are opened and saved.',
  filters: { version: true, periods: true },
  content: async ({ filter }) => {
    const answer = await getFigure('file-types', filter);
    if (answer.rows.length === 0) return [nothingYet(answer)];
    return [
      element(
        'div',
        { class: 'figures' },
        figure({
          title: fileTypesFinding(answer.rows),
          subtitle: 'Documents opened and saved, by file type',
          rows: answer.rows,
          columns: [
            { name: 'File type', value: (row) => fileType(row.file_type) },
            { name: 'Opened', value: (row) => row.opened },
            { name: 'Saved', value: (row) => row.saved },
            { name: 'Installations', value: (row) => row.installations },
          ],
          chart: (charts, rows, width) =>
            charts.pairedBars(
              rows.map((row) => ({
                label: fileType(row.file_type),
                first: row.opened,
                second: row.saved,
              })),
              names,
              width,
            ),
          key: (charts) =>
            charts.partColors(2).map((color, place) => ({ color, text: names[place] ?? '' })),
          ...(answer.rows.length > 30
            ? { search: { label: 'Search file types', text: (row: FileTypeRow) => row.file_type } }
            : {}),
          limit: 30,
          address: figureAddress('file-types', filter),
          withheld: {
            rows: answer.withheld.rows,
            threshold: answer.threshold,
            what: 'the numbers of these file types rest',
          },
          notes: answer.rows.some((row) => row.file_type === '(other)')
            ? ['“(other)” are file types that may hold part of a path; their text is not kept.']
            : [],
          class: 'wide',
        }),
      ),
    ];
  },
};
