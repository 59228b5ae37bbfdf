import path from "node:path";
import { fileURLToPath } from "node:url";
import { rulesFor } from "../../../collector/web/eslint.config.js";

export default [
  ...rulesFor(path.dirname(fileURLToPath(import.meta.url))),
  {
    files: ["**/*.ts"],
    rules: {
      // The test runner awaits what `describe` and `it` return.
      "@typescript-eslint/no-floating-promises": [
        "error",
        { allowForKnownSafeCalls: ["describe", "it"] },
      ],
    },
  },
];
