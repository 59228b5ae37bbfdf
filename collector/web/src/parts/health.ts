// A line that says whether the server takes reports.

import { get } from '../data/api';
import { healthFinding } from '../data/health';
import { element } from '../dom';

/** How long the server may take to say how it is, in milliseconds. */
const patience = 10_000;

function answerOf(): Promise<unknown> {
  const late = new Promise((resolve) => setTimeout(resolve, patience, null));
  return Promise.race([get('/api/v1/health'), late]).catch(() => null);
}

/** The line fills itself when the server has answered; the page does not wait for it. */
export function healthLine(): HTMLElement {
  const title = element('strong', {}, 'Asking the server how it is…');
  const detail = element('span', { class: 'health-detail' });
  const line = element(
    'p',
    { class: 'card health', role: 'status', 'aria-busy': 'true' },
    title,
    detail,
  );
  void answerOf().then((answer) => {
    const finding = healthFinding(answer);
    title.textContent = finding.title;
    detail.textContent = finding.detail;
    line.classList.add(finding.kind);
    line.removeAttribute('aria-busy');
  });
  return line;
}
