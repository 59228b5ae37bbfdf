// What the page of those who take part says of what is kept, and of a refusal.

import { RequestError, type Kept } from './api';
import { counted, number, wait } from './format';

export function isNothing(kept: Kept): boolean {
  return kept.total === 0 && !kept.has_email;
}

export function keptTitle({ total, has_email: hasEmail }: Kept): string {
  return `${counted(total, 'report')} ${total === 1 ? 'is' : 'are'} kept${hasEmail ? ', and an e-mail address' : ''}`;
}

/** How many are not shown; null if all are. */
export function hiddenNote({ deliveries, total }: Kept): string | null {
  const hidden = total - deliveries.length;
  if (hidden <= 0) return null;
  return `The latest ${number(deliveries.length)} are shown; ${counted(hidden, 'earlier one')} ${hidden === 1 ? 'is' : 'are'} kept, too.`;
}

/** Where waiting helps, the error says so, and for how long; any other has its own reason. */
export function explained(error: unknown): unknown {
  if (!(error instanceof RequestError)) return error;
  const { status, problem, retryAfter } = error;
  const time = retryAfter === null ? null : wait(retryAfter);
  if (status === 429)
    return new RequestError(
      status,
      `Too many requests from your address. Please wait ${time ?? 'a minute'}.`,
      problem,
      retryAfter,
    );
  if (status === 503)
    return new RequestError(
      status,
      `The server cannot do this at present. Please try again in ${time ?? 'a minute'}.`,
      problem,
      retryAfter,
    );
  return error;
}
