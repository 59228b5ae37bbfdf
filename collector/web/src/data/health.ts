// Whether the server takes reports, in words.

import { bytes, counted } from './format';

export interface HealthFinding {
  kind: 'good' | 'bad' | 'unknown';
  title: string;
  detail: string;
}

function isCount(value: unknown): value is number {
  return typeof value === 'number' && Number.isInteger(value) && value >= 0;
}

/** What the server says of itself; `answer` is its JSON, and null if there is none. */
export function healthFinding(answer: unknown): HealthFinding {
  const {
    ready,
    version,
    connections,
    bytes_in_flight: size,
  } = typeof answer === 'object' && answer !== null
    ? (answer as Record<string, unknown>)
    : ({} as Record<string, unknown>);
  if (typeof ready !== 'boolean') {
    return {
      kind: 'unknown',
      title: 'It is not known at present whether the server takes reports',
      detail: 'The figures below are not affected',
    };
  }
  const facts = [
    typeof version === 'string' && version !== '' ? `Version ${version}` : '',
    isCount(connections) ? counted(connections, 'open connection') : '',
    isCount(size) ? `${bytes(size)} of requests in memory` : '',
  ].filter((fact) => fact !== '');
  return ready
    ? { kind: 'good', title: 'The server takes reports', detail: facts.join(' · ') }
    : {
        kind: 'bad',
        title: 'The server cannot keep reports at present',
        detail: ['Senders keep theirs and try again; the disk may be full', ...facts].join(' · '),
      };
}
