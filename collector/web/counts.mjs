// A reporter of the test runner: "PASSED FAILED", each test counted once. A skipped test has not
// passed, nor has one that is yet to do; a file that fails outside its tests counts as a failure.

export default async function* counts(events) {
  let passed = 0;
  let failed = 0;
  for await (const { type, data } of events) {
    if ((type !== 'test:pass' && type !== 'test:fail') || data.details.type === 'suite') continue;
    const hasRun = data.skip === undefined && data.todo === undefined;
    if (type === 'test:pass' && hasRun) ++passed;
    else ++failed;
  }
  yield `${passed} ${failed}\n`;
}
