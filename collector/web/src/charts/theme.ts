// What all charts share: the marks' colors, which the style sheet sets for light and dark, and
// their sizes.

import type { PlotOptions } from '@observablehq/plot';

export const firstColor = 'var(--series-1)';
/** The colors of series, in the order in which they are given out. */
export const seriesColors = [
  firstColor,
  ...[2, 3, 4, 5, 6, 7].map((place) => `var(--series-${place})`),
];
/** What is readable on each of them. */
export const seriesInks = seriesColors.map((_, place) => `var(--on-series-${place + 1})`);
export const restColor = 'var(--series-rest)';
export const ink = 'var(--ink)';
export const mutedInk = 'var(--ink-muted)';
export const gridColor = 'var(--grid)';
export const surface = 'var(--surface)';

/** The class of the charts, whose rules are in the style sheet. */
export const chartClass = 'plot';

export const fontSize = 12.5;

/** Rounds a length, so that a change of a pixel's part draws nothing anew. */
export function whole(length: number): number {
  return Math.max(200, Math.floor(length));
}

export const frame: PlotOptions = { className: chartClass, style: { fontSize: `${fontSize}px` } };
