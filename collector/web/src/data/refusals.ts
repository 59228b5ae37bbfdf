// Why deliveries are refused, in words.

const meanings: Record<string, string> = {
  'not-multipart': 'The request is no multipart form, or a field comes twice',
  'no-id': 'The delivery has no Id',
  'bad-id': 'The delivery’s Id is no GUID',
  'no-report': 'The form has no report',
  'empty-report': 'The report is empty',
  'bad-base64': 'The report is not in Base64',
  truncated: 'The report was cut off on its way',
  'not-a-report': 'The content is no report',
  'no-installation': 'The report does not name its installation',
  'unknown-product': 'The address names no product of this server',
  method: 'The request is no POST',
  timeout: 'The delivery took too long',
  length: 'The request does not say how long it is',
  'too-large': 'The delivery is larger than the server takes',
  busy: 'The server or the sender’s address was too busy; senders try again',
};

export function meaningOf(code: string): string {
  return meanings[code] ?? code;
}
