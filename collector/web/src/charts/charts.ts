// The charts. Each takes its rows and a width in pixels and gives a picture. They are a part of
// their own that is loaded after the page is there.

import * as Plot from '@observablehq/plot';
import { compact, number, periodRange, shortDay } from '../data/format';
import { otherVersions } from '../data/versions';
import {
  firstColor,
  fontSize,
  frame,
  gridColor,
  ink,
  mutedInk,
  restColor,
  seriesColors,
  seriesInks,
  surface,
  whole,
} from './theme';

type Picture = SVGSVGElement | HTMLElement;

/**
 * Plot puts a style sheet into each picture, which the content security policy does not take. The
 * same rules are in the pages' own. Without it nothing is inline.
 */
function withoutStyleSheet(picture: Picture): Picture {
  for (const sheet of picture.querySelectorAll('style')) sheet.remove();
  return picture;
}

function draw(options: Plot.PlotOptions): Picture {
  const picture = withoutStyleSheet(Plot.plot({ ...frame, ...options }));
  // The place of the picture has its words; its parts have none that could be read.
  picture.setAttribute('aria-hidden', 'true');
  return picture;
}

/** Every n-th period gets a label, so that labels do not touch. */
function labeledPeriods(periods: string[], width: number): string[] {
  const room = 56;
  const step = Math.max(1, Math.ceil((periods.length * room) / width));
  // Counted from the last one, which is read first.
  return periods.filter((_, place) => (periods.length - 1 - place) % step === 0);
}

function periodAxis(periods: string[], width: number): Plot.Markish {
  let year = '';
  const labels = labeledPeriods(periods, width);
  const texts = new Map(
    labels.map((period) => {
      const isNewYear = period.slice(0, 4) !== year;
      year = period.slice(0, 4);
      return [period, isNewYear ? `${shortDay(period)}\n${year}` : shortDay(period)];
    }),
  );
  return Plot.axisX(labels, {
    tickSize: 0,
    tickPadding: 8,
    label: null,
    color: mutedInk,
    tickFormat: (period: string) => texts.get(period) ?? '',
  });
}

function countAxis(): Plot.Markish[] {
  return [
    Plot.gridY({ stroke: gridColor, strokeOpacity: 1, ticks: 4 }),
    Plot.axisY({
      ticks: 4,
      tickSize: 0,
      tickFormat: (value: number) => (Number.isInteger(value) ? compact(value) : ''),
      label: null,
      color: mutedInk,
    }),
  ];
}

export interface PeriodPart {
  period: string;
  part: string;
  value: number;
}

/** Bars by period, each of parts on top of each other; the first part is the lowest. */
export function periodBars(
  rows: PeriodPart[],
  parts: string[],
  periods: string[],
  availableWidth: number,
): Picture {
  const width = whole(availableWidth);
  const totals = periods.map((period) => ({
    period,
    rows: rows.filter((row) => row.period === period),
    value: rows.reduce((all, row) => all + (row.period === period ? row.value : 0), 0),
  }));
  return draw({
    width,
    height: 280,
    marginTop: 12,
    marginLeft: 44,
    marginRight: 4,
    marginBottom: 40,
    x: { type: 'band', domain: periods, padding: periods.length > 40 ? 0.1 : 0.25 },
    y: { nice: true, domain: [0, Math.max(4, ...totals.map((total) => total.value))] },
    color: { domain: parts, range: partColors(parts.length) },
    marks: [
      ...countAxis(),
      Plot.barY(
        rows,
        Plot.stackY(
          { order: parts },
          { x: 'period', y: 'value', fill: 'part', stroke: surface, strokeWidth: 0.75 },
        ),
      ),
      Plot.ruleY([0], { stroke: ink, strokeOpacity: 0.5 }),
      periodAxis(periods, width - 48),
      tip(totals, {
        x: 'period',
        y: 'value',
        title: (total: (typeof totals)[number]) =>
          [
            periodRange(total.period),
            ...[...total.rows].reverse().map((row) => `${number(row.value)} ${row.part}`),
          ].join('\n'),
      }),
    ],
  });
}

/** The colors of parts; both text and key use them. */
export function partColors(count: number): string[] {
  return seriesColors.slice(0, count);
}

function tip(rows: Plot.Data, options: Plot.TipOptions): Plot.Markish {
  return Plot.tip(
    rows,
    Plot.pointerX({
      ...options,
      fill: surface,
      stroke: gridColor,
      textPadding: 10,
      lineHeight: 1.35,
      fontSize,
    }),
  );
}

export interface RankedRow {
  label: string;
  value: number;
  /** Drawn in the first color; without it in the rest's. */
  isStrong?: boolean;
  /** Texts of the columns after the bar. */
  columns: string[];
}

export interface RankedShape {
  /** Names of the columns after the bar, the most important first. */
  columns: string[];
  /** The end of the scale; without it the largest value. */
  maximum?: number;
  /** Room for a label, as a part of the width. */
  labelShare?: number;
}

const columnWidth = 72;
const rowHeight = 26;
const labelGap = 8;

let measure: CanvasRenderingContext2D | null = null;

/** How wide a text is drawn, in pixels. */
function textWidth(text: string): number {
  measure ??= document.createElement('canvas').getContext('2d');
  if (!measure) return text.length * fontSize * 0.62;
  measure.font = `${fontSize}px ${getComputedStyle(document.body).fontFamily}`;
  return measure.measureText(text).width;
}

/** The text, or as much of its start as there is room for. */
function shortened(text: string, room: number): string {
  if (textWidth(text) <= room) return text;
  const characters = Array.from(text);
  let [fits, fitsNot] = [0, characters.length];
  while (fitsNot - fits > 1) {
    const middle = (fits + fitsNot) >> 1;
    if (textWidth(`${characters.slice(0, middle).join('')}…`) <= room) fits = middle;
    else fitsNot = middle;
  }
  return `${characters.slice(0, fits).join('').trimEnd()}…`;
}

/** Room for the labels before the marks: as much as they need, but a part of the width at most. */
function labelRoom(labels: string[], width: number, share: number): number {
  const needed = Math.max(0, ...labels.map(textWidth)) + labelGap + 2;
  // On a phone the labels matter more than the length of the bars.
  const largest = width * (width < 420 ? Math.max(share, 0.42) : share);
  return Math.ceil(Math.min(needed, largest, 320));
}

/** The labels of rows, shortened to their room. */
function rowLabels(
  rows: { label: string }[],
  room: number,
  channels: Plot.TextOptions,
): Plot.Markish {
  return Plot.text(rows, {
    ...channels,
    text: (row: { label: string }) => shortened(row.label, room - labelGap),
    title: 'label',
    frameAnchor: 'left',
    textAnchor: 'end',
    dx: -labelGap,
    fill: ink,
  });
}

const placeOfRow = (_: unknown, place: number) => place;

/** Bars from left to right with the label before and numbers after them, as in a table. */
export function rankedBars(rows: RankedRow[], shape: RankedShape, availableWidth: number): Picture {
  const width = whole(availableWidth);
  const labelWidth = labelRoom(
    rows.map((row) => row.label),
    width,
    shape.labelShare ?? 0.36,
  );
  const room = width - labelWidth - 60;
  const columns = shape.columns.slice(
    0,
    Math.max(1, Math.min(shape.columns.length, Math.floor(room / columnWidth))),
  );
  const marginRight = columns.length * columnWidth;
  const hasHead = columns.some((column) => column !== '');
  const marginTop = hasHead ? 26 : 4;
  // Two rows may have the same label, and a band scale would draw them as one.
  const places = rows.map((_, place) => place);
  const rightOf = (place: number) => (place + 1) * columnWidth;
  return draw({
    width,
    height: marginTop + rows.length * rowHeight + 6,
    marginTop,
    marginBottom: 6,
    marginLeft: labelWidth,
    marginRight,
    x: { axis: null, domain: [0, shape.maximum ?? Math.max(1, ...rows.map((row) => row.value))] },
    y: { axis: null, type: 'band', domain: places, paddingInner: 0.28, paddingOuter: 0.14 },
    marks: [
      Plot.barX(rows, {
        x: 'value',
        y: placeOfRow,
        fill: (row: RankedRow) => (row.isStrong === false ? restColor : firstColor),
        rx2: 2,
      }),
      Plot.ruleX([0], { stroke: ink, strokeOpacity: 0.35 }),
      rowLabels(rows, labelWidth, { y: placeOfRow }),
      ...columns.flatMap((name, place) => [
        Plot.text(rows, {
          y: placeOfRow,
          text: (row: RankedRow) => row.columns[place] ?? '',
          frameAnchor: 'right',
          textAnchor: 'end',
          dx: rightOf(place),
          fill: place === 0 ? ink : mutedInk,
          className: 'figures',
        }),
        hasHead
          ? Plot.text([name], {
              frameAnchor: 'top-right',
              textAnchor: 'end',
              dx: rightOf(place),
              dy: -18,
              fill: mutedInk,
            })
          : null,
      ]),
    ],
  });
}

export interface PairRow {
  label: string;
  first: number | null;
  second: number | null;
}

/** Two bars for each row, with their numbers at their ends. */
export function pairedBars(
  rows: PairRow[],
  names: [string, string],
  availableWidth: number,
): Picture {
  const width = whole(availableWidth);
  const labelWidth = labelRoom(
    rows.map((row) => row.label),
    width,
    0.3,
  );
  const bars = rows.flatMap((row, place) => [
    { row: place, series: names[0], value: row.first },
    { row: place, series: names[1], value: row.second },
  ]);
  const drawn = bars.filter((bar) => bar.value !== null);
  return draw({
    width,
    height: rows.length * 46 + 12,
    marginTop: 4,
    marginBottom: 4,
    marginLeft: labelWidth,
    marginRight: 76,
    x: { axis: null, domain: [0, Math.max(1, ...drawn.map((bar) => bar.value ?? 0))] },
    fy: { axis: null, domain: rows.map((_, place) => place), padding: 0.2 },
    y: { axis: null, type: 'band', domain: names, padding: 0.08 },
    color: { domain: names, range: partColors(2) },
    marks: [
      Plot.barX(drawn, { fy: 'row', y: 'series', x: 'value', fill: 'series', rx2: 2 }),
      Plot.ruleX([0], { stroke: ink, strokeOpacity: 0.35 }),
      Plot.text(bars, {
        fy: 'row',
        y: 'series',
        x: (bar: (typeof bars)[number]) => bar.value ?? 0,
        text: (bar: (typeof bars)[number]) => number(bar.value),
        textAnchor: 'start',
        dx: 6,
        fill: ink,
        className: 'figures',
      }),
      rowLabels(rows, labelWidth, { fy: placeOfRow }),
    ],
  });
}

export interface PlaceRow {
  label: string;
  place: number;
  detail: string;
}

/** A dot for each row on a line of places, and a column after it. */
export function placeDots(
  rows: PlaceRow[],
  names: { axis: string; detail: string },
  availableWidth: number,
): Picture {
  const width = whole(availableWidth);
  const labelWidth = labelRoom(
    rows.map((row) => row.label),
    width,
    0.36,
  );
  return draw({
    width,
    height: 68 + rows.length * 24,
    marginTop: 26,
    marginBottom: 42,
    marginLeft: labelWidth,
    marginRight: columnWidth,
    x: { domain: [0, Math.max(5, ...rows.map((row) => row.place))], nice: true },
    y: { axis: null, type: 'band', domain: rows.map((_, place) => place) },
    marks: [
      Plot.gridX({ stroke: gridColor, strokeOpacity: 1, ticks: 5 }),
      Plot.axisX({
        ticks: 5,
        tickSize: 0,
        label: names.axis,
        labelAnchor: 'center',
        labelArrow: 'none',
        color: mutedInk,
        tickFormat: (place: number) => number(place),
      }),
      Plot.ruleY(rows, {
        y: placeOfRow,
        x1: 0,
        x2: 'place',
        stroke: firstColor,
        strokeOpacity: 0.35,
        strokeWidth: 2,
      }),
      Plot.dot(rows, { y: placeOfRow, x: 'place', fill: firstColor, r: 4.5 }),
      Plot.text(rows, {
        y: placeOfRow,
        text: 'detail',
        frameAnchor: 'right',
        textAnchor: 'end',
        dx: columnWidth,
        fill: mutedInk,
        className: 'figures',
      }),
      Plot.text([names.detail], {
        frameAnchor: 'top-right',
        textAnchor: 'end',
        dx: columnWidth,
        dy: -18,
        fill: mutedInk,
      }),
      rowLabels(rows, labelWidth, { y: placeOfRow }),
    ],
  });
}

export interface LayerPoint {
  period: string;
  version: string;
  installations: number;
}

export function versionColors(versions: string[]): string[] {
  return versions.map((version, place) =>
    version === otherVersions ? restColor : (seriesColors[place] ?? restColor),
  );
}

/** Where each layer is highest, if its name fits in there. The ends would cut the name off. */
function peaksOf(points: LayerPoint[], highest: number): Set<LayerPoint> {
  const ends = [points[0]?.period, points.at(-1)?.period];
  const peaks = new Map<string, LayerPoint>();
  for (const point of points) {
    const peak = peaks.get(point.version);
    if (!ends.includes(point.period) && point.installations > (peak?.installations ?? 0))
      peaks.set(point.version, point);
  }
  return new Set([...peaks.values()].filter((point) => point.installations > highest * 0.1));
}

/** Layers on top of each other over the periods; the first version is the highest layer. */
export function versionLayers(
  points: LayerPoint[],
  versions: string[],
  periods: string[],
  availableWidth: number,
): Picture {
  const width = whole(availableWidth);
  const order = [...versions].reverse();
  const totals = periods.map((period) => ({
    period,
    points: points.filter((point) => point.period === period && point.installations > 0),
    value: points.reduce(
      (all, point) => all + (point.period === period ? point.installations : 0),
      0,
    ),
  }));
  const highest = Math.max(4, ...totals.map((total) => total.value));
  const tipOf = tip(totals, {
    x: 'period',
    y: 'value',
    title: (total: (typeof totals)[number]) =>
      [
        periodRange(total.period),
        ...total.points.map((point) => `${number(point.installations)} with ${point.version}`),
      ].join('\n'),
  });
  const color = { domain: versions, range: versionColors(versions) };
  const inks = versions.map((version, place) =>
    version === otherVersions ? surface : seriesInks[place],
  );
  const step = width / Math.max(1, periods.length - 1);
  const peaks = peaksOf(
    points.filter((point) => textWidth(point.version) < 1.5 * step),
    highest,
  );
  const stack = {
    x: 'period',
    y: 'installations',
    z: 'version',
    fill: 'version',
    stroke: surface,
    strokeWidth: 1,
  };
  const base = {
    width,
    height: 300,
    marginTop: 12,
    marginLeft: 44,
    marginBottom: 40,
    color,
    y: { nice: true, domain: [0, highest] },
  };
  // An area needs two periods.
  if (periods.length < 2) {
    return draw({
      ...base,
      marginRight: 4,
      x: { type: 'band', domain: periods, padding: 0.6 },
      marks: [
        ...countAxis(),
        Plot.barY(points, Plot.stackY({ order }, stack)),
        periodAxis(periods, width),
        tipOf,
      ],
    });
  }
  return draw({
    ...base,
    marginRight: 24,
    x: { type: 'point', domain: periods, padding: 0 },
    marks: [
      ...countAxis(),
      Plot.areaY(points, Plot.stackY({ order }, { ...stack, curve: 'monotone-x' })),
      Plot.ruleY([0], { stroke: ink, strokeOpacity: 0.5 }),
      periodAxis(periods, width - 68),
      Plot.text(
        points,
        Plot.stackY(
          { order },
          {
            x: 'period',
            y: 'installations',
            z: 'version',
            text: (point: LayerPoint) => (peaks.has(point) ? point.version : ''),
            fill: (point: LayerPoint) => inks[versions.indexOf(point.version)] ?? surface,
            fontWeight: 600,
          },
        ),
      ),
      Plot.ruleX(totals, Plot.pointerX({ x: 'period', stroke: ink, strokeOpacity: 0.4 })),
      tipOf,
    ],
  });
}
