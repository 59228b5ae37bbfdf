// The switch between the system's colors, light and dark.

import { element } from '../dom';

const themes = ['system', 'light', 'dark'] as const;
type Theme = (typeof themes)[number];

const names: Record<Theme, string> = { system: 'System', light: 'Light', dark: 'Dark' };

function current(): Theme {
  const theme = document.documentElement.dataset.theme;
  return theme === 'light' || theme === 'dark' ? theme : 'system';
}

function set(theme: Theme): void {
  if (theme === 'system') {
    delete document.documentElement.dataset.theme;
    localStorage.removeItem('theme');
  } else {
    document.documentElement.dataset.theme = theme;
    localStorage.setItem('theme', theme);
  }
}

export function themeSwitch(): HTMLElement {
  const select = element(
    'select',
    {
      class: 'theme',
      'aria-label': 'Colors',
      change: () => {
        set(select.value as Theme);
      },
    },
    ...themes.map((theme) =>
      element('option', { value: theme, selected: theme === current() }, names[theme]),
    ),
  );
  return select;
}
