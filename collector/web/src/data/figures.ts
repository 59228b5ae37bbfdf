// What the server's figures hold. A number that is null rests on too few installations.

import type { Filter } from './filter';

export interface Figure<Row> {
  product: string;
  version: string | null;
  from: string;
  to: string;
  threshold: number;
  installations: number | null;
  rows: Row[];
  withheld: { rows: number };
}

export interface OverviewRow {
  period: string;
  installations: number | null;
  new: number | null;
  reports: number | null;
}

export interface CommandRow {
  command: string;
  uses: number;
  installations: number;
  share: number | null;
  median_order: number | null;
}

export interface FileTypeRow {
  file_type: string;
  opened: number | null;
  saved: number | null;
  installations: number;
}

export interface VersionRow {
  period: string;
  application: string;
  version: string;
  installations: number;
}

export interface MachineRow {
  category: string;
  name: string;
  value: string;
  installations: number;
}

export interface IntakeRow {
  accepted: number;
  replaced: number;
  repeated: number;
  refused: Record<string, number>;
}

export interface FigureRows {
  overview: OverviewRow;
  commands: CommandRow;
  'file-types': FileTypeRow;
  versions: VersionRow;
  machines: MachineRow;
  intake: IntakeRow;
}

export type FigureName = keyof FigureRows;

export type FigureAddress = (format: 'json' | 'csv') => string;

/** Gives the addresses of a figure. */
export function figureAddress(name: FigureName, filter: Filter): FigureAddress {
  return (format) => {
    const query = new URLSearchParams();
    for (const [key, value] of Object.entries({ ...filter, format })) {
      if (value) query.set(key, value);
    }
    return `/api/v1/figures/${name}?${query.toString()}`;
  };
}
