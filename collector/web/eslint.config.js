// The rules for the pages; those for their tests add to them.
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import tseslint from 'typescript-eslint';

/** The rules for the TypeScript of a folder that has a tsconfig.json. */
export function rulesFor(folder) {
  return tseslint.config(
    { files: ['**/*.ts'] },
    ...tseslint.configs.strictTypeChecked.map((rules) => ({ ...rules, files: ['**/*.ts'] })),
    ...tseslint.configs.stylisticTypeChecked.map((rules) => ({ ...rules, files: ['**/*.ts'] })),
    {
      files: ['**/*.ts'],
      languageOptions: { parserOptions: { projectService: true, tsconfigRootDir: folder } },
      rules: {
        '@typescript-eslint/restrict-template-expressions': ['error', { allowNumber: true }],
        eqeqeq: 'error',
        'no-console': 'error',
      },
    },
  );
}

export default rulesFor(path.dirname(fileURLToPath(import.meta.url)));
