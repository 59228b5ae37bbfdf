// How versions replace each other over the periods.

import type { VersionRow } from './figures';

export interface AdoptionPoint {
  period: string;
  version: string;
  installations: number;
}

export interface Adoption {
  /** The newest first, as many as are drawn, and then perhaps `otherVersions`. */
  versions: string[];
  /** One for each period and version, by period; zero where there is no row. */
  points: AdoptionPoint[];
  /** The shares in the last period, the largest first. */
  latest: {
    period: string | null;
    shares: { version: string; installations: number; share: number }[];
  };
}

export const otherVersions = 'older and rare';

/** Compares by the numbers in the versions, and texts without numbers as texts. */
export function compareVersions(a: string, b: string): number {
  return a.localeCompare(b, 'en', { numeric: true });
}

/**
 * The rows of one or more applications as they are drawn: at most `limit` versions, those with the
 * most installations, and the rest added up.
 */
export function adoptionOf(rows: VersionRow[], periods: string[], limit = 7): Adoption {
  const totals = new Map<string, number>();
  for (const row of rows)
    totals.set(row.version, (totals.get(row.version) ?? 0) + row.installations);
  const drawn = [...totals]
    .sort((a, b) => b[1] - a[1])
    .slice(0, limit)
    .map(([version]) => version)
    .sort((a, b) => compareVersions(b, a));
  const versions = totals.size > drawn.length ? [...drawn, otherVersions] : drawn;

  const counts = new Map<string, number>();
  const key = (period: string, version: string) => `${period} ${version}`;
  for (const row of rows) {
    const version = drawn.includes(row.version) ? row.version : otherVersions;
    const at = key(row.period, version);
    counts.set(at, (counts.get(at) ?? 0) + row.installations);
  }
  const points = periods.flatMap((period) =>
    versions.map((version) => ({
      period,
      version,
      installations: counts.get(key(period, version)) ?? 0,
    })),
  );

  const period = rows.reduce<string | null>(
    (last, row) => (last === null || row.period > last ? row.period : last),
    null,
  );
  const last = points.filter((point) => point.period === period && point.installations > 0);
  const total = last.reduce((all, point) => all + point.installations, 0);
  const shares = last
    .map(({ version, installations }) => ({ version, installations, share: installations / total }))
    .sort((a, b) => b.installations - a.installations);
  return { versions, points, latest: { period, shares } };
}
