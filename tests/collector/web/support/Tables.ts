// Tables as a reader gets them.

import type { Locator } from "playwright-core";

/**
 * Shows all rows of the only table in there. The table grows by itself, too, when its end is seen,
 * and its button moves away from a pointer.
 */
export async function showAllRows(place: Locator): Promise<void> {
  await place.evaluate((element) => {
    const more = element.querySelector<HTMLButtonElement>(".table-foot button");
    while (more && !more.hidden) more.click();
  });
}

/** The texts of the rows of a table's body. */
export function rowsOf(place: Locator): Promise<string[][]> {
  return place
    .locator("tbody tr")
    .evaluateAll((rows) =>
      rows.map((row) => [...row.querySelectorAll("th, td")].map((cell) => cell.textContent)),
    );
}
